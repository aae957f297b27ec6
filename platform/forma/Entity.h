/// Entities: objects with identity, a parent, members that are observed.
///
/// Every change of every entity passes Entity::tell, which names the member and the key. On the
/// quiet path (nobody looks) a change costs one test of one byte.
///
/// Thread    one: that of the agent's event loop.
/// Memory    32 bytes and the members; the list of notifiees is one pointer until somebody looks.
#pragma once

#include <cstddef>
#include <cstdint>
#include <exception>
#include <string>
#include <tuple>
#include <utility>

#include "platform/Export.h"
#include "platform/forma/Notifiee.h"
#include "platform/forma/Ptr.h"
#include "platform/forma/String8.h"

namespace Forma {

struct EntityType;

class MPLS_EXPORT Entity : public PtrInterface {
 public:
  ~Entity() override;

  /// What the entity is called among its parent's children. Keyed entities are called by the text
  /// of their key.
  virtual Name name() const;
  /// The entity that owns this one; null for a root, and once it was removed.
  Entity* parent() const { return parent_; }
  /// Sets the parent without filing the entity in any of its members. Not owning.
  void parentIs(Entity* parent);
  /// The path from the root: the names of the parents and the own one, joined by "/". Members that
  /// are not directory entries appear by their name ("input/static/route/<key>").
  std::string fullName() const;

  /// True once the entity was removed from the collection that owned it, or marked so.
  bool isDeleted() const { return (flags_ & deletedFlag) != 0; }
  /// Marks the entity as deleted; the collection that owns it drops it, and tells so.
  void deletedIs(bool deleted);

  /// Description of the entity's type: its members and generic access to them.
  virtual const EntityType& formaType() const = 0;
  /// How many entity types lie between Entity and this type; members know theirs.
  static constexpr std::uint8_t formaDepth = 0;
  static constexpr std::size_t formaMemberCount = 0;
  template <class Visit>
  static constexpr void formaEachEntityMember(Visit&&) {}

  /// Runtime only: a member of this entity took `child` in.
  void formaAdopt(Entity& child, std::uint8_t member, bool surfaces);
  /// Runtime only: the member that owned this entity let it go.
  void formaOrphan();

 protected:
  using Deliver = void (*)(NotifieeBase&, const void* key);
  struct Change {
    std::uint8_t member;  ///< index among all members of the type, those of its bases included
    std::uint8_t depth;   ///< of the type that declares the member
    const void* key;
    Deliver deliver;
  };

  Entity() = default;

  /// Announces a change of the attribute or single child `member`.
  template <auto Callback, class N, std::uint8_t member, std::uint8_t depth>
  void notify() const {
    if (flags_ & toldFlags) [[unlikely]]
      tell({member, depth, nullptr,
            [](NotifieeBase& who, const void*) { (static_cast<N&>(who).*Callback)(); }});
  }
  /// Announces a change of one key of the collection `member`.
  template <auto Callback, class N, std::uint8_t member, std::uint8_t depth, class Key>
  void notify(const Key& key) const {
    if (flags_ & toldFlags) [[unlikely]]
      tell({member, depth, &key, [](NotifieeBase& who, const void* k) {
              (static_cast<N&>(who).*Callback)(*static_cast<const Key*>(k));
            }});
  }

 private:
  friend class NotifieeBase;
  struct Observers;
  struct Walk;

  static constexpr std::uint8_t observedFlag = 1;  // somebody is in the list of observers
  static constexpr std::uint8_t surfacesFlag = 2;  // a content change is a change of the parent's
  static constexpr std::uint8_t loggedFlag = 4;    // changes are recorded for other processes
  static constexpr std::uint8_t toldFlags = observedFlag | surfacesFlag | loggedFlag;
  static constexpr std::uint8_t deletedFlag = 8;
  static constexpr std::uint8_t noMember = 255;  // has a parent, stands in none of its members

  void tell(const Change& change) const;
  void quieten() const;
  void deliver(const Change& change, std::exception_ptr& first) const;
  void destroy() const override;
  void add(NotifieeBase* who) const;
  void remove(NotifieeBase* who) const;

  mutable std::uint8_t flags_ = 0;
  std::uint8_t parentMember_ = noMember;  // which member of the parent this entity stands in
  mutable Observers* observers_ = nullptr;
  Entity* parent_ = nullptr;
};

/// An entity that is called by a name given at construction.
class MPLS_EXPORT NamedEntity : public Entity {
 public:
  explicit NamedEntity(Name name) : name_(std::move(name)) {}
  ~NamedEntity() override;
  Name name() const override { return name_; }

  /// What the constructor takes, by name; entities that take more declare FORMA_ARGUMENTS.
  std::tuple<Name> formaArguments() const { return {name_}; }
  static constexpr std::string_view formaArgumentNames[] = {"name"};

 private:
  Name name_;
};

}  // namespace Forma
