/// Tables as members of entities.
///
///   class MPLS_EXPORT LfibStatus : public Forma::NamedEntity {
///     FORMA_ENTITY(Mpls::LfibStatus, Forma::NamedEntity, lfibRoute)
///     FORMA_TABLE(RouteKey, LfibRoute, lfibRoute, newLfibRoute, onLfibRoute, handleRoute)
///    public:
///     class NotifieeConst : public Forma::NotifieeOf<LfibStatus> {
///      public:
///       /// The row at `key` came, went or was written again.
///       virtual void onLfibRoute(const RouteKey& /*key*/) {}
///       /// Look at the whole table: lfibRouteNotifyCollection() was called.
///       virtual void onLfibRoute() {}
///     };
///     void handleRoute(const RouteKey& key) const;  // the check; may be left out
///   };
///
/// Each write stores the row, runs the check on its key, then notifies, also of an equal row. What
/// a check throws goes to the writer: the row stays as it is then, and nobody is notified. In an
/// entity that is attached as a reader the writer's changes arrive as notifications of their keys.
///
/// Thread    that of the entity.
#pragma once

#include <cstddef>
#include <functional>
#include <memory>
#include <span>
#include <string_view>

#include "platform/Export.h"
#include "platform/forma/Declare.h"
#include "platform/forma/WireForm.h"
#include "platform/tarn/TarnMap.h"

namespace FormaTarn {

/// A member of kind table, whatever its row type.
class MPLS_EXPORT EntityTable : public Forma::TableBase {
 public:
  /// Notifies of a key in its flat form.
  using Tell = void (*)(const EntityTable& self, const std::byte* key);

  EntityTable(const Forma::Entity& owner, Tarn::TarnTable& table, Tell how);
  EntityTable(const EntityTable&) = delete;
  EntityTable& operator=(const EntityTable&) = delete;

  const Forma::Entity& owner() const { return owner_; }
  Tarn::TarnTable& tarnTable() { return table_; }
  void tell(const std::byte* key) const { tell_(*this, key); }
  /// Reader: what the directory tells.
  Tarn::TableListener* listener();

 protected:
  ~EntityTable();

 private:
  class Listener;
  const Forma::Entity& owner_;
  Tarn::TarnTable& table_;
  const Tell tell_;
  std::unique_ptr<Listener> listener_;
};

/// Attaches all tables of an entity to those of their names in `directory`, which are made for so
/// many rows when they are not there. The rows of the entity give way to those of the directory;
/// who observes the entity hears of each key that came, went or is different.
///
/// Raises what TarnTable::attachWriter() raises, for the first table that cannot be attached: then
/// none is. What a notifiee throws is raised when all has been told.
MPLS_EXPORT void attachWriter(Forma::Entity& entity, Tarn::WriterDirectory& directory,
                              std::size_t initialRows = 1024);
/// The same; `initialRows` tells for how many rows the table of a name is made.
using InitialRows = std::function<std::size_t(std::string_view table)>;
MPLS_EXPORT void attachWriter(Forma::Entity& entity, Tarn::WriterDirectory& directory,
                              const InitialRows& initialRows);
/// The same, as a reader: from then on who observes hears of each key that the writer changes, in
/// the directory's loop. The tables, and the directory, may come later.
MPLS_EXPORT void attachReader(Forma::Entity& entity, Tarn::ReaderDirectory& directory);
/// Lets go of the directory: the rows there stay, those of the entity are gone, and who observes it
/// hears so. An entity that is destroyed lets go by itself.
MPLS_EXPORT void detach(Forma::Entity& entity);

/// Reads a row's key by its accessor.
struct KeyOfRow {
  template <class Row>
  const auto& operator()(const Row& row) const {
    return row.key();
  }
};

/// One row; its key is read from the row.
template <class Row, class Key, class KeyAccessor = KeyOfRow>
class FormaTarnMapValueWrapper {
 public:
  FormaTarnMapValueWrapper() = default;
  FormaTarnMapValueWrapper(Row value) : value_(std::move(value)) {}
  const Row& value() const { return value_; }
  Key key() const { return KeyAccessor{}(value_); }

 private:
  Row value_;
};

/// The table of one member of `Owner`; FORMA_TABLE declares it and its accessors.
template <class Owner, class RowType, class KeyType>
class FormaTarnMap : public Tarn::TarnMap<KeyType, RowType>, public EntityTable {
 public:
  static constexpr Forma::MemberKind kind = Forma::MemberKind::table;
  using Map = Tarn::TarnMap<KeyType, RowType>;
  using Row = RowType;
  using Key = KeyType;
  using Notify = void (*)(const Owner& owner, const Key& key);

  FormaTarnMap(const Owner& owner, std::string_view name, Notify notify)
      : Map(name), EntityTable(owner, *this, &tellKey), notify_(notify) {}

  auto range(const Owner& owner) const {
    return typename Map::template Range<Forma::Ptr<Owner const>>{Forma::Ptr<Owner const>(&owner),
                                                                 *this};
  }

  /// Generic access (EntityType.h).
  template <class T, class Is, class Del, class Told>
  static void formaDescribe(Forma::MemberType& type, FormaTarnMap T::*member, Is, Del, Told);

 private:
  static void tellKey(const EntityTable& self, const std::byte* packed) {
    const auto& map = static_cast<const FormaTarnMap&>(self);
    Key key;
    if (Map::Form::decodeKey(packed, &key))
      map.notify_(static_cast<const Owner&>(map.owner()), key);
    else map.rowIsDamaged(packed);
  }

  const Notify notify_;
};

template <class Owner, class RowType, class KeyType>
template <class T, class Is, class Del, class Told>
void FormaTarnMap<Owner, RowType, KeyType>::formaDescribe(Forma::MemberType& type,
                                                          FormaTarnMap T::*member, Is, Del, Told) {
  using Forma::Entity;
  const auto keyAt = [](const void* key) -> const Key& { return *static_cast<const Key*>(key); };
  type.keyType = Forma::typeName<Key>();
  type.valueType = Forma::typeName<Row>();
  type.table = [member](Entity& e) -> Forma::TableBase& { return static_cast<T&>(e).*member; };
  type.size = [member](const Entity& e) { return (static_cast<const T&>(e).*member).rows(); };
  type.each = [member](const Entity& e, const Forma::MemberType::Visit& visit) {
    const T& self = static_cast<const T&>(e);
    for (const auto& one : (self.*member).range(self)) visit(&one.key, &one.value);
  };
  type.find = [member, keyAt](const Entity& e, const void* key) -> const void* {
    thread_local Row found;
    return (static_cast<const T&>(e).*member).find(keyAt(key), &found) ? &found : nullptr;
  };
  type.put = [](Entity& e, const void*, const void* row) {
    Is{}(static_cast<T&>(e), *static_cast<const Row*>(row));
  };
  type.erase = [keyAt](Entity& e, const void* key) { Del{}(static_cast<T&>(e), Key(keyAt(key))); };
  type.replica.key = &Forma::wireFormOf<Key>;
  type.replica.value = &Forma::wireFormOf<Row>;
  type.replica.tell = [keyAt](const Entity& e, const void* key) {
    Told{}(static_cast<const T&>(e), Key(keyAt(key)));
  };
}

}  // namespace FormaTarn

/// A callback of NotifieeConst: that of one key, or that of the whole table.
#define FORMA_NOTIFY_OVERLOAD(name, callback, ...)                                    \
  notify<static_cast<void (NotifieeConst::*)(__VA_ARGS__)>(&NotifieeConst::callback), \
         NotifieeConst, formaIndex(#name), formaDepth>

/// A table: name(key), nameFind(key, &row), nameIs(row), newName(row), nameCommit(row),
/// nameDel(key), nameDelAll(), names(), nameIteratorConst(), nameBatch(keys, rows, found),
/// nameNotify(key), nameNotifyCollection(), nameTable(). One argument more names a member function
/// that checks a key after each store and each removal.
#define FORMA_TABLE(KeyType, RowType, name, newName, callback, ...)                             \
 private:                                                                                       \
  ::FormaTarn::FormaTarnMap<FormaSelf, RowType, KeyType> name##_{                               \
      *this, #name, [](const FormaSelf& self, const KeyType& key) { self.name##Notify(key); }}; \
  void name##Changed(const KeyType& key) const {                                                \
    __VA_OPT__(__VA_ARGS__(key);)                                                               \
    FORMA_NOTIFY_OVERLOAD(name, callback, const KeyType&)(key);                                 \
  }                                                                                             \
                                                                                                \
 public:                                                                                        \
  /** The row at `key`; a default row when there is none. */                                    \
  RowType name(const KeyType& key) const { return name##_.get(key); }                           \
  /** Whether there is a row at `key`; `row` is of no use when there is none. */                \
  bool name##Find(const KeyType& key, RowType* row) const { return name##_.find(key, row); }    \
  /** How many of the keys have rows; for all of them at once, as nameTable().safeLookup(). */  \
  std::size_t name##Batch(std::span<const KeyType> keys, std::span<RowType> rows,               \
                          std::span<bool> found) const {                                        \
    return name##_.safeLookupBatch(keys, rows, found);                                          \
  }                                                                                             \
  std::size_t name##s() const { return name##_.rows(); }                                        \
  auto name##IteratorConst() const { return name##_.range(*this); }                             \
  /** Writes the row and returns it as it was stored. */                                        \
  RowType name##Is(const RowType& row) {                                                        \
    RowType stored(row);                                                                        \
    name##Commit(stored);                                                                       \
    return stored;                                                                              \
  }                                                                                             \
  RowType newName(const RowType& row) { return name##Is(row); }                                 \
  void name##Commit(const RowType& row) {                                                       \
    FORMA_LISTED(name);                                                                         \
    const KeyType key = row.key();                                                              \
    name##_.directCommit(row);                                                                  \
    name##Changed(key);                                                                         \
  }                                                                                             \
  /** The row that was removed; a default row, and nothing else, when there was none. */        \
  RowType name##Del(KeyType key) {                                                              \
    RowType removed;                                                                            \
    if (name##_.safeRemove(key, &removed)) name##Changed(key);                                  \
    return removed;                                                                             \
  }                                                                                             \
  void name##DelAll() {                                                                         \
    name##_.mayWrite();                                                                         \
    const ::Forma::Ptr<FormaSelf> pinned(this);                                                 \
    name##_.eachKey([this](const KeyType& key) { name##Del(key); });                            \
  }                                                                                             \
  /** Repeats the notification for `key`. */                                                    \
  void name##Notify(KeyType key) const {                                                        \
    FORMA_NOTIFY_OVERLOAD(name, callback, const KeyType&)(key);                                 \
  }                                                                                             \
  /** Asks all who observe the table to look at it as a whole. */                               \
  void name##NotifyCollection() const { FORMA_NOTIFY_OVERLOAD(name, callback)(); }              \
  const ::Tarn::TarnMap<KeyType, RowType>& name##Table() const { return name##_; }              \
  ::Tarn::TarnMap<KeyType, RowType>& name##Table() { return name##_; }                          \
                                                                                                \
 private:
