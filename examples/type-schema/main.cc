// type-schema TYPE: prints the schema text of an entity type, such as Mpls::RouteConfigInput: what
// a reader in another language needs to follow that type (docs/centrum-protocol.md).
#include <cstdio>

#include "mpls/entities/Registration.h"
#include "mpls/lfib/Registration.h"
#include "platform/centrum/Registration.h"
#include "platform/forma/EntityType.h"
#include "platform/forma/Schema.h"

int main(int argc, char** argv) {
  Forma::TypeRegistry types;
  Mpls::registerEntityTypes(types);
  Mpls::registerLfibTypes(types);
  Centrum::registerTypes(types);
  const Forma::EntityType* type = argc == 2 ? types.findEntity(argv[1]) : nullptr;
  if (!type) {
    std::fprintf(stderr, "usage: type-schema TYPE, one that the library registers\n");
    return 2;
  }
  std::fputs(Forma::schemaText(*type, types).c_str(), stdout);
}
