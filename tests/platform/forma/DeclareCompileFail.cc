// Declarations that must not compile: what is forgotten is refused, not silently left out.
//
// case FieldNotListed: list this field in FORMA_VALUE
// case EnumeratorLeftOut: enumeration value .*on_.* not handled in switch
// case AttributeNotListed: list this member in FORMA_ENTITY
// case CollectionNotListed: list this member in FORMA_ENTITY
// case ChildNotListed: list this member in FORMA_ENTITY
// case CallbackNotDeclared: onMode
// case FactoryNamedOtherwise: a factory is called as its type
#include "platform/forma/Dir.h"

#ifdef FieldNotListed
#define FIELDS first
#else
#define FIELDS first, second
#endif
#ifdef EnumeratorLeftOut
#define ENUMERATORS off
#else
#define ENUMERATORS off, on
#endif
#if defined(AttributeNotListed)
#define MEMBERS pair, part
#elif defined(CollectionNotListed)
#define MEMBERS mode, part
#elif defined(ChildNotListed)
#define MEMBERS mode, pair
#else
#define MEMBERS mode, pair, part
#endif
#ifdef CallbackNotDeclared
#define ON_MODE onSomethingElse
#else
#define ON_MODE onMode
#endif

namespace Refused {

enum Mode : std::uint8_t { off_, on_ };
FORMA_ENUM(Refused, Mode, ENUMERATORS)

class Pair {
  FORMA_VALUE(Refused::Pair, FIELDS)
  FORMA_FIELD(std::uint8_t, first)
  FORMA_FIELD(std::uint8_t, second)
};
FORMA_DEFINE_VALUE(Pair)

class Thing : public Forma::NamedEntity {
  FORMA_ENTITY(Refused::Thing, Forma::NamedEntity, MEMBERS)
  FORMA_ATTRIBUTE(Mode, mode, onMode)
  FORMA_VALUES(Forma::Name, Pair, pair, newPair, onPair)
  FORMA_CHILD(Forma::Dir, part, newPart, onPart)
 public:
  class NotifieeConst : public Forma::NotifieeOf<Thing> {
   public:
    virtual void ON_MODE() {}
    virtual void onPair(const Forma::Name&) {}
    virtual void onPart() {}
  };
  using NamedEntity::NamedEntity;
};
FORMA_DEFINE_ENTITY(Thing)
#ifdef FactoryNamedOtherwise
FORMA_FACTORY(newThingFactory, Thing, Forma::Name)
#else
FORMA_FACTORY(thingFactory, Thing, Forma::Name)
#endif

}  // namespace Refused

/// The control: every accessor is used.
[[maybe_unused]] static std::size_t use(Refused::Thing& thing) {
  thing.modeIs(Refused::on());
  thing.pairIs("a", {});
  return thing.partIs("part")->entrys() + thing.pairs();
}
