#include "platform/forma/Entity.h"

#include <algorithm>
#include <exception>
#include <string>
#include <vector>

#include "platform/forma/EntityType.h"

namespace Forma {

namespace {

/// Stands where a notifiee left during a delivery. It hears nothing: deliveries need not ask.
NotifieeBase* hole() {
  struct Deaf : NotifieeBase {
    Deaf() { hasNotificationActiveIs(false); }
  };
  static Deaf* const deaf = new Deaf;  // never destroyed: entities may outlive statics
  return deaf;
}

}  // namespace

ChangeLog::~ChangeLog() = default;
Entity::~Entity() { delete observers_; }
NamedEntity::~NamedEntity() = default;

Name Entity::name() const { return {}; }

void Entity::parentIs(Entity* parent) {
  parent_ = parent;
  parentMember_ = noMember;
  flags_ = static_cast<std::uint8_t>(flags_ & ~surfacesFlag);
}

std::string Entity::fullName() const {
  if (!parent_) return std::string(name().view());
  std::string path = parent_->fullName();
  if (!path.empty()) path.push_back('/');
  const MemberType* member = parent_->formaType().member(parentMember_);
  if (member && member->kind != MemberKind::entries) path.append(member->name).push_back('/');
  return path.append(name().view());
}

void Entity::deletedIs(bool deleted) {
  if (!deleted) {
    flags_ = static_cast<std::uint8_t>(flags_ & ~deletedFlag);
    return;
  }
  const Ptr<Entity> self(this);
  flags_ |= deletedFlag;
  const MemberType* member = parent_ ? parent_->formaType().member(parentMember_) : nullptr;
  if (member && member->eraseChild) member->eraseChild(*parent_, *this);
}

void Entity::formaAdopt(Entity& child, std::uint8_t member, bool surfaces) {
  adoptApart(child, member, surfaces);
  if (flags_ & (loggedFlag | readOnlyFlag)) [[unlikely]]
    child.formaReplicaIs(formaReplica());
}

void Entity::adoptApart(Entity& child, std::uint8_t member, bool surfaces) {
  child.parent_ = this;
  child.parentMember_ = member;
  child.flags_ = static_cast<std::uint8_t>(child.flags_ & ~(deletedFlag | surfacesFlag));
  if (surfaces) child.flags_ |= surfacesFlag;
}

void Entity::formaOrphan() {
  parent_ = nullptr;
  constexpr unsigned ended = surfacesFlag | loggedFlag | readOnlyFlag;
  flags_ = static_cast<std::uint8_t>((flags_ & ~ended) | deletedFlag);
}

void Entity::formaReplicaIs(Replica replica) {
  const unsigned flag = replica == Replica::original ? loggedFlag
                        : replica == Replica::copy   ? readOnlyFlag
                                                     : 0U;
  constexpr unsigned both = loggedFlag | readOnlyFlag;
  flags_ = static_cast<std::uint8_t>((flags_ & ~both) | flag);
  for (const MemberType& member : formaType().members)
    if (member.kind != MemberKind::attribute && member.kind != MemberKind::values &&
        isContent(member.kind))
      member.each(*this, [&](const void*, const void* held) {
        auto& element = *const_cast<Entity*>(static_cast<const Entity*>(held));
        if (!isReference(member.kind)) element.formaReplicaIs(replica);
        else if (!element.parent_)
          element.formaReplicaIs(replica == Replica::copy ? replica : Replica::none);
      });
}

Replica Entity::formaReplica() const {
  if (flags_ & loggedFlag) return Replica::original;
  return flags_ & readOnlyFlag ? Replica::copy : Replica::none;
}

ChangeLog* Entity::log() const {
  const Entity* root = this;
  while (root->parent_) root = root->parent_;
  return root->formaLog();
}

void Entity::refuseChange() const {
  if (const ChangeLog* log = this->log()) log->refuse(*this);
  throwAccessException(fullName() + " is a read-only copy");
}

void Entity::keepFirst(std::exception_ptr& first) {
  if (!first) first = std::current_exception();
}

void Entity::Delivery::tellAny(NotifieeBase& any, std::uint8_t member, const void* key) const {
  static_cast<AnyNotifiee&>(any).onChange(*who.formaType().member(member), key);
}

/// A change that a delivery alone does not keep the entity for: it is recorded, or one of the
/// parent's, too, or another thread may drop the last reference.
void Entity::tellPinned(const Change& change) const {
  const Ptr<Entity const> self(this);
  const unsigned flags = flags_;
  flags_ = static_cast<std::uint8_t>(flags & ~static_cast<unsigned>(relayedFlag | apartFlag));
  std::exception_ptr first;
  if ((flags & (loggedFlag | relayedFlag)) == loggedFlag) {
    try {
      const MemberType& member = *formaType().member(change.member);
      ChangeLog* const log = member.kind == MemberKind::table ? nullptr : this->log();
      if (log) log->changed(*this, member, change.key);
    } catch (...) {
      keepFirst(first);
    }
  }
  if (flags_ & observedFlag) {
    Delivery to(*this);
    change.deliver(change.how, to, first);
  }
  if ((flags_ & surfacesFlag) && !(flags & apartFlag)) {
    const Ptr<Entity> parent(parent_);
    if (parent->flags_ & loggedFlag) parent->flags_ |= relayedFlag;  // the log has it of the child
    try {
      parent->formaType().member(parentMember_)->notifyChild(*parent, *this);
    } catch (...) {
      keepFirst(first);
    }
  }
  if (first) std::rethrow_exception(first);
}

/// The outermost delivery has ended: closes the holes, and destroys the entity if it was to go.
void Entity::settle() const {
  observers_->unsettled = false;
  std::erase(observers_->list, hole());
  quieten();
  if (references() == 0) destroy();
}

/// The last reference went. Weak notifiees are unbound before the members go, so that none of them
/// can reach, or hear of, an entity that is half destroyed.
void Entity::destroy() const {
  if (observers_) {
    if (observers_->current) {
      observers_->unsettled = true;
      return;
    }
    for (NotifieeBase* who : observers_->list) who->notifier_ = nullptr;
    observers_->list.clear();
    quieten();
  }
  PtrInterface::destroy();
}

void Entity::add(NotifieeBase* who) const {
  if (!observers_) observers_ = new Observers;
  observers_->list.push_back(who);
  flags_ |= observedFlag;
}

void Entity::remove(NotifieeBase* who) const {
  auto& list = observers_->list;
  const auto at = std::ranges::find(list, who);
  if (at == list.end()) return;
  if (observers_->current) {
    *at = hole();
    observers_->unsettled = true;
    return;
  }
  list.erase(at);
  quieten();
}

/// Back to the quiet path when the last observer has left.
void Entity::quieten() const {
  if (observers_->list.empty()) flags_ = static_cast<std::uint8_t>(flags_ & ~observedFlag);
}

NotifieeBase::~NotifieeBase() { bind(nullptr); }

void NotifieeBase::bind(Ptr<Entity const> notifier) {
  const Entity* const before = std::exchange(notifier_, notifier.get());
  const bool wasWeak = weak_;
  if (notifier_) {
    if (listed()) notifier_->add(this);
    if (!weak_) notifier_->newRef();
  }
  if (!before) return;
  if (listed()) before->remove(this);
  if (!wasWeak) before->deleteRef();
}

void NotifieeBase::isRegisteredNotifieeIs(bool registered) {
  if (registered == registered_) return;
  if (notifier_ && listed()) notifier_->remove(this);
  registered_ = registered;
  decide();
  if (notifier_ && listed()) notifier_->add(this);
}

void NotifieeBase::hasNotificationActiveIs(bool active) {
  active_ = active;
  decide();
}

void NotifieeBase::isWeakReferenceIs(bool weak) {
  if (weak == weak_) return;
  const Entity* const notifier = notifier_;
  const bool wasListed = listed();
  weak_ = weak;
  if (!notifier) return;
  if (listed() && !wasListed) notifier->add(this);
  if (!listed() && wasListed) notifier->remove(this);
  if (weak) notifier->deleteRef();
  else notifier->newRef();
}

void AnyNotifiee::notifierIs(Ptr<Entity const> notifier) { bind(std::move(notifier)); }

}  // namespace Forma
