/// Observers of entities.
///
/// A notifiee is bound to one notifier and receives one virtual call per change, synchronously,
/// after the change, in the thread that made it, in order of registration. Inside a callback
/// anything may be changed, bound, unbound or destroyed, the notifiee itself included:
///  - one that unregisters or dies hears nothing more;
///  - one that registers during a delivery hears the next change;
///  - the notifier lives until the delivery ends.
///
/// Thread    that of the entity.
/// Cost      one virtual call for each notifiee, and one indirect call for each change.
#pragma once

#include <cstdint>

#include "platform/Export.h"
#include "platform/forma/Ptr.h"

namespace Forma {

class Entity;
struct MemberType;

/// Base of every observer. Keeps its notifier alive unless it is weak. Unbinds when destroyed.
class MPLS_EXPORT NotifieeBase {
 public:
  NotifieeBase() = default;
  NotifieeBase(const NotifieeBase&) = delete;
  NotifieeBase& operator=(const NotifieeBase&) = delete;
  virtual ~NotifieeBase();

  /// Whether the notifiee stands in its notifier's list. Registering again puts it at the end.
  bool isRegisteredNotifiee() const { return registered_; }
  void isRegisteredNotifieeIs(bool registered);

  /// Whether changes are delivered; the place in the list is kept.
  bool hasNotificationActive() const { return active_; }
  void hasNotificationActiveIs(bool active);

  /// A weak notifiee does not keep its notifier alive; it is unbound when the notifier goes.
  bool isWeakReference() const { return weak_; }
  void isWeakReferenceIs(bool weak);

 protected:
  /// `depth` is that of the callbacks which the class understands; see Entity::formaDepth.
  explicit NotifieeBase(std::uint8_t depth) : depth_(depth) { decide(); }

  void bind(Ptr<Entity const> notifier);
  const Entity* bound() const { return notifier_; }
  void depthIs(std::uint8_t depth) {
    depth_ = depth;
    decide();
  }

 private:
  friend class Entity;
  friend class AnyNotifiee;

  void decide() {
    hears_ = registered_ && active_ ? static_cast<std::uint8_t>(depth_ + 1) : std::uint8_t{0};
  }
  bool listed() const { return registered_ || weak_; }

  const Entity* notifier_ = nullptr;  // one reference, unless weak_
  std::uint8_t depth_ = 0;
  std::uint8_t hears_ = 1;  // hears members declared at a depth below this; 0: nothing
  static constexpr std::uint8_t hearsAny = 255;  // and is an AnyNotifiee
  bool registered_ = true;
  bool active_ = true;
  bool weak_ = false;
};

/// The typed face of an observer of T: `notifierIs(ptr)` and `notifier()`. Base of T's
/// NotifieeConst; for a T that derives from another entity, Base is that one's NotifieeConst.
template <class T, class Base = NotifieeBase>
class NotifieeOf : public Base {
 public:
  NotifieeOf() { this->depthIs(T::formaDepth); }
  /// Binds; null unbinds.
  void notifierIs(Ptr<T const> notifier) { this->bind(std::move(notifier)); }
  const T* notifier() const { return static_cast<const T*>(this->bound()); }
};

/// An observer that may also change its notifier.
template <class T, class NotifieeConst>
class NotifieeMutable : public NotifieeConst {
 public:
  void notifierIs(Ptr<T> notifier) { this->bind(Ptr<Entity const>(std::move(notifier))); }
  T* notifier() const { return const_cast<T*>(static_cast<const T*>(this->bound())); }
};

/// An observer of entities of any type: hears every change as member and key (null for attributes,
/// single children, and tables as a whole). The key's type is `member.keyType`.
class MPLS_EXPORT AnyNotifiee : public NotifieeBase {
 public:
  AnyNotifiee() : NotifieeBase(anyDepth) {}
  void notifierIs(Ptr<Entity const> notifier);
  const Entity* notifier() const { return bound(); }
  virtual void onChange(const MemberType& member, const void* key) = 0;

 private:
  friend class Entity;
  static constexpr std::uint8_t anyDepth = hearsAny - 1;
};

}  // namespace Forma
