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
#include <vector>

#include "platform/Export.h"
#include "platform/forma/ChangeLog.h"
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

  // ---- Replication (Content.h); for the layers that carry changes to other processes ------------

  /// Makes the entity and its children, those to come included, originals or read-only copies.
  void formaReplicaIs(Replica replica);
  Replica formaReplica() const;
  /// The log of the tree of which this entity is the root; null when there is none.
  virtual ChangeLog* formaLog() const { return nullptr; }
  /// Whether anybody is in the list of observers.
  bool formaIsObserved() const { return (flags_ & observedFlag) != 0; }
  /// The next change that is told is no change of the parent's: the teller announces that itself.
  void formaNextApart() const {
    if (flags_ & surfacesFlag) flags_ |= apartFlag;
  }
  /// Where the entity stands in its parent: a member's index, or noMember.
  std::uint8_t formaParentMember() const { return parentMember_; }
  static constexpr std::uint8_t noMember = 255;  // has a parent, stands in none of its members

 protected:
  Entity() = default;

  /// Announces a change of `member` (an index among all members of the type, those of its bases
  /// included), which is declared at `depth`: of one key, or of the member as a whole.
  template <auto Callback, class N, std::uint8_t member, std::uint8_t depth, class... Key>
  void notify(const Key&... key) const {
    if (flags_ & toldFlags) [[unlikely]]
      tell<Callback, N, member, depth>(key...);
  }
  /// Called by mutators before they change anything. Raises AccessException for a read-only copy.
  void formaMayChange() const {
    if (flags_ & readOnlyFlag) [[unlikely]]
      refuseChange();
  }
  /// As formaAdopt; the child stays what it is to other processes.
  void adoptApart(Entity& child, std::uint8_t member, bool surfaces);

 private:
  friend class NotifieeBase;
  struct Delivery;
  struct Observers {
    std::vector<NotifieeBase*> list;  // `hole` where one left during a delivery
    Delivery* current = nullptr;      // the innermost one under way
    bool unsettled = false;           // there are holes, or the last reference went meanwhile
  };

  static constexpr std::uint8_t observedFlag = 1;  // somebody is in the list of observers
  static constexpr std::uint8_t surfacesFlag = 2;  // a content change is a change of the parent's
  static constexpr std::uint8_t loggedFlag = 4;    // changes are recorded for other processes
  static constexpr std::uint8_t toldFlags = observedFlag | surfacesFlag | loggedFlag;
  static constexpr std::uint8_t deletedFlag = 8;
  static constexpr std::uint8_t pinnedFlag = 16;     // another thread may drop the last reference
  static constexpr std::uint8_t relayedFlag = 32;    // the next change told is one of a child
  static constexpr std::uint8_t apartFlag = 64;      // the next change told does not surface
  static constexpr std::uint8_t readOnlyFlag = 128;  // a copy: mutators refuse

  /// A change on its way: what changed, and how those who observe the entity are told.
  struct Change {
    std::uint8_t member;
    const void* key;  ///< null when the member has none
    void (*deliver)(const void* how, Delivery& to, std::exception_ptr& first);
    const void* how;
  };

  /// The one place that every change of a watched entity passes, compiled for each callback.
  template <auto Callback, class N, std::uint8_t member, std::uint8_t depth, class... Key>
  [[gnu::noinline]] void tell(const Key&... key) const;
  void tellPinned(const Change& change) const;
  ChangeLog* log() const;
  [[noreturn]] void refuseChange() const;
  static void keepFirst(std::exception_ptr& first);
  void settle() const;
  void quieten() const;
  void destroy() const override;
  void add(NotifieeBase* who) const;
  void remove(NotifieeBase* who) const;

  mutable std::uint8_t flags_ = threadSafe() ? pinnedFlag : 0;
  std::uint8_t parentMember_ = noMember;  // which member of the parent this entity stands in
  mutable Observers* observers_ = nullptr;
  Entity* parent_ = nullptr;
};

/// A delivery under way. While there is one its thread does not destroy the entity: that costs less
/// than a reference. The outermost one does what had to wait, also when a callback throws.
struct Entity::Delivery {
  explicit Delivery(const Entity& entity)
      : who(entity),
        all(*entity.observers_),
        outer(std::exchange(all.current, this)),
        present(all.list.size()) {}
  Delivery(const Delivery&) = delete;
  Delivery& operator=(const Delivery&) = delete;
  ~Delivery() {
    all.current = outer;
    if (all.unsettled && outer == nullptr) [[unlikely]]
      who.settle();
  }
  /// Calls those who hear members declared at `depth`. One that throws does not silence those
  /// after it; the first exception is kept for the mutator.
  template <std::uint8_t depth, class Call>
  void run(std::uint8_t member, const void* key, Call call, std::exception_ptr& first) {
    for (std::size_t i = 0; i < present; ++i) {
      NotifieeBase* const one = all.list[i];
      try {
        // One comparison for both: those who hear the depth, and are not to be called otherwise.
        if (one->hears_ - (depth + 1U) < NotifieeBase::hearsAny - (depth + 1U)) [[likely]]
          call(*one);
        else if (one->hears_ == NotifieeBase::hearsAny) tellAny(*one, member, key);
      } catch (...) {
        keepFirst(first);
      }
    }
  }
  MPLS_EXPORT void tellAny(NotifieeBase& any, std::uint8_t member, const void* key) const;

  const Entity& who;
  Observers& all;
  Delivery* const outer;
  const std::size_t present;  // who joins later hears the next change
};

template <auto Callback, class N, std::uint8_t member, std::uint8_t depth, class... Key>
void Entity::tell(const Key&... key) const {
  static_assert(sizeof...(Key) <= 1);
  const void* keyAt = nullptr;
  ((keyAt = &key), ...);
  const auto deliver = [&](Delivery& to, std::exception_ptr& first) {
    to.run<depth>(
        member, keyAt, [&](NotifieeBase& one) { (static_cast<N&>(one).*Callback)(key...); }, first);
  };
  if ((flags_ & (toldFlags | pinnedFlag)) != observedFlag) [[unlikely]] {
    const auto how = [](const void* d, Delivery& to, std::exception_ptr& first) {
      (*static_cast<const decltype(deliver)*>(d))(to, first);
    };
    return tellPinned({member, keyAt, how, &deliver});
  }
  std::exception_ptr first;
  {
    Delivery to(*this);
    deliver(to, first);
  }
  if (first) [[unlikely]]
    std::rethrow_exception(first);
}

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
