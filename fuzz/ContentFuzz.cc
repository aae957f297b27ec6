// Records of any bytes, applied to an entity of a registered type. The first byte chooses the type,
// the second how much of the rest is applied first; what follows comes as a snapshot when the
// second byte is odd.
//
// Bytes that are not whole records must change nothing. What is accepted must be content like any
// other: written and applied to another entity, it makes an equal one.

#include <string>
#include <vector>

#include "fuzz/Check.h"
#include "ldp/Registration.h"
#include "mpls/entities/Registration.h"
#include "platform/forma/Content.h"
#include "tests/support/ContentText.h"

namespace {

using Forma::Entity;
using Forma::Ptr;

/// Types that a name can make.
const std::vector<const Forma::EntityType*>& types() {
  static const Forma::TypeRegistry registry = [] {
    Forma::TypeRegistry all;
    Mpls::registerEntityTypes(all);
    Ldp::registerEntityTypes(all);
    return all;
  }();
  static const std::vector<const Forma::EntityType*> made = [] {
    std::vector<const Forma::EntityType*> all;
    for (const auto& [name, type] : registry.entities())
      if (type->make && name != "Forma::Dir") all.push_back(type);
    return all;
  }();
  return made;
}

void tell(Forma::ContentApplier& applier) {
  applier.tell([](const std::exception_ptr&) { require(false); });
}

void apply(Forma::ContentApplier& applier, Entity& entity, std::string_view records) {
  const auto before = contentLines(entity);
  if (!accepted<Forma::ParseException>([&] { applier.apply(entity, records); }))
    require(!applier.changed() && contentLines(entity) == before);
  tell(applier);
}

void checkCopy(const Forma::EntityType& type, const Entity& entity) {
  std::string records;
  Forma::encodeContent(records, entity);
  const Ptr<Entity> copy = type.make("copy");
  Forma::ContentApplier applier;
  applier.apply(*copy, records);
  require(applier.refused() == 0 && difference(*copy, entity).empty());
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  if (size < 2) return 0;
  const Forma::EntityType& type = *types()[data[0] % types().size()];
  const Ptr<Entity> entity = type.make("entity");
  struct Deaf : Forma::AnyNotifiee {
    void onChange(const Forma::MemberType&, const void*) override {}
  } observer;
  observer.notifierIs(Ptr<Entity const>(entity));
  const std::string_view input = textOf(data + 2, size - 2);
  const std::size_t first = input.size() * data[1] / 255;
  Forma::ContentApplier applier;
  apply(applier, *entity, input.substr(0, first));
  checkCopy(type, *entity);
  const bool snapshot = data[1] % 2 == 1;
  if (snapshot) applier.beginSnapshot(*entity);
  apply(applier, *entity, input.substr(first));
  if (snapshot) applier.endSnapshot(*entity);
  tell(applier);
  checkCopy(type, *entity);
  return 0;
}
