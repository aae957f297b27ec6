#include "platform/interface/Registration.h"

#include "platform/interface/IntfStatus.h"
#include "platform/netbase/Registration.h"

namespace Interface {

void registerTypes(Forma::TypeRegistry& registry) {
  Netbase::registerTypes(registry);
  registry.add<OperStatus>();
}

}  // namespace Interface
