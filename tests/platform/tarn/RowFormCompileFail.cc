// Tables that must not compile: rows that cannot stand in shared memory, and callbacks left out.
//
// case StringField: this type has no flat form
// case KeyNotFirst: the first field of a row is
// case RowTooLarge: the row is too large
// case KeyOfOtherType: the key is not that of the row
// case CallbackLeftOut: static_cast.*NotifieeConst::
// case TableNotListed: list this member in FORMA_ENTITY
#include "platform/forma/BoundedArray.h"
#include "platform/tarn/FormaTarnMap.h"

#ifdef StringField
#define FIELD Forma::String8
#else
#define FIELD std::uint16_t
#endif
#ifdef KeyNotFirst
#define FIELDS field, key, bytes
#else
#define FIELDS key, field, bytes
#endif
#ifdef RowTooLarge
#define LAST 5000
#else
#define LAST 4000
#endif
#ifdef KeyOfOtherType
#define KEY std::uint16_t
#else
#define KEY std::uint32_t
#endif
#ifdef TableNotListed
#define MEMBERS used
#else
#define MEMBERS used, row
#endif

namespace Refused {

FORMA_INDEX_RANGE(Range, LAST)
class Row {
  FORMA_VALUE(Refused::Row, FIELDS)
  FORMA_FIELD(std::uint32_t, key)
  FORMA_FIELD(FIELD, field)
  FORMA_BYTES_FIELD(Range, bytes)
};
FORMA_DEFINE_VALUE(Row)

class Thing : public Forma::NamedEntity {
  FORMA_ENTITY(Refused::Thing, Forma::NamedEntity, MEMBERS)
  FORMA_ATTRIBUTE(bool, used, onUsed)
  FORMA_TABLE(KEY, Row, row, newRow, onRow)
 public:
  class NotifieeConst : public Forma::NotifieeOf<Thing> {
   public:
    virtual void onUsed() {}
    virtual void onRow(const KEY&) {}
#ifndef CallbackLeftOut
    virtual void onRow() {}
#endif
  };
  using NamedEntity::NamedEntity;
};
FORMA_DEFINE_ENTITY(Thing)

}  // namespace Refused

/// The control: every accessor is used.
[[maybe_unused]] static std::size_t use(Refused::Thing& thing) {
  thing.newRow(thing.row(1));
  thing.rowDelAll();
  thing.rowNotifyCollection();
  return thing.rows();
}
