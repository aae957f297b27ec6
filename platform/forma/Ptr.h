/// Reference-counted objects and the pointers that own them.
///
/// Thread    an object belongs to one thread, unless the process called
///           PtrInterface::threadSafeIs(true) before it made its first object: then counts (only
///           they) may be changed from any thread.
/// Cost      copying a pointer is one increment; atomic only in thread-safe processes.
#pragma once

#include <atomic>
#include <compare>
#include <concepts>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <utility>

#include "platform/Export.h"
#include "platform/forma/Relocatable.h"

namespace Forma {

/// A reference count that is atomic when, and only when, the process asked for it.
class MPLS_EXPORT RefCount {
 public:
  RefCount() = default;
  explicit RefCount(std::uint32_t start) : count_(start) {}

  void up() {
    if (threadSafe_) count_.fetch_add(1, std::memory_order_relaxed);
    else count_.store(count_.load(std::memory_order_relaxed) + 1, std::memory_order_relaxed);
  }
  /// True when the last reference went.
  bool down() {
    // acq_rel: what any owner wrote is seen by the one that destroys the object.
    if (threadSafe_) return count_.fetch_sub(1, std::memory_order_acq_rel) == 1;
    const std::uint32_t left = count_.load(std::memory_order_relaxed) - 1;
    count_.store(left, std::memory_order_relaxed);
    return left == 0;
  }
  std::uint32_t value() const { return count_.load(std::memory_order_relaxed); }

  static bool threadSafe() { return threadSafe_; }
  static void threadSafeIs(bool on) { threadSafe_ = on; }

 private:
  static bool threadSafe_;
  std::atomic<std::uint32_t> count_{0};
};

/// Base of every reference-counted object. Destroyed when the last Ptr to it goes.
class MPLS_EXPORT PtrInterface {
 public:
  PtrInterface(const PtrInterface&) = delete;
  PtrInterface& operator=(const PtrInterface&) = delete;

  void newRef() const { refs_.up(); }
  void deleteRef() const {
    if (refs_.down()) destroy();
  }
  /// How many pointers own this object; for tests and for inspection.
  std::uint32_t references() const { return refs_.value(); }

  /// Thread-safe counting is one choice for the whole process; make it before the first object.
  static void threadSafeIs(bool on) { RefCount::threadSafeIs(on); }
  static bool threadSafe() { return RefCount::threadSafe(); }

 protected:
  PtrInterface() = default;
  virtual ~PtrInterface();
  /// The last reference went: ends in `delete this`.
  virtual void destroy() const;

 private:
  mutable RefCount refs_;
};

/// An owning pointer. Null by default. `Ptr<T const>` gives read-only access.
template <class T>
class Ptr {
 public:
  using element_type = T;

  Ptr() = default;
  Ptr(std::nullptr_t) {}
  Ptr(T* p) : p_(p) {
    if (p_) p_->newRef();
  }
  Ptr(const Ptr& o) : Ptr(o.p_) {}
  Ptr(Ptr&& o) noexcept : p_(std::exchange(o.p_, nullptr)) {}
  template <class U>
  requires std::convertible_to<U*, T*> Ptr(const Ptr<U>& o) : Ptr(static_cast<T*>(o.get())) {}
  template <class U>
  requires std::convertible_to<U*, T*> Ptr(Ptr<U>&& o)
  noexcept : p_(o.release()) {}
  Ptr& operator=(Ptr o) noexcept {
    std::swap(p_, o.p_);
    return *this;
  }
  ~Ptr() {
    if (p_) p_->deleteRef();
  }

  T* get() const { return p_; }
  T* operator->() const { return p_; }
  T& operator*() const { return *p_; }
  explicit operator bool() const { return p_ != nullptr; }
  /// Hands the reference over to the caller.
  T* release() { return std::exchange(p_, nullptr); }

  /// Identity, not content.
  friend bool operator==(const Ptr& a, const Ptr& b) { return a.p_ == b.p_; }
  friend bool operator==(const Ptr& a, std::nullptr_t) { return a.p_ == nullptr; }
  std::uint64_t hash() const { return std::hash<T*>{}(p_); }

 private:
  T* p_ = nullptr;
};

template <class T>
using PtrConst = Ptr<T const>;

/// A copy in memory is as good as a move: containers may grow by copying bytes.
template <class T>
inline constexpr bool isRelocatable<Ptr<T>> = true;

/// The pointer as a U, or null when it points to something else.
template <class U, class T>
Ptr<U> ptrCast(const Ptr<T>& p) {
  return Ptr<U>(dynamic_cast<U*>(p.get()));
}

/// Raises NullException "null ValidPtr".
[[noreturn]] MPLS_EXPORT void throwNullValidPtr();

/// Raises NullException "null ValidPtr" for a null pointer; returns the pointer otherwise.
template <class T>
Ptr<T> validPtr(Ptr<T> p) {
  if (!p) throwNullValidPtr();
  return p;
}

/// A pointer that was checked to be valid when it was made.
template <class T>
class ValidPtr : public Ptr<T> {
 public:
  template <class U>
  requires std::convertible_to<U*, T*> ValidPtr(Ptr<U> p)
      : Ptr<T>(validPtr(Ptr<T>(std::move(p)))) {}
  ValidPtr(std::nullptr_t) : Ptr<T>(validPtr(Ptr<T>())) {}
};

}  // namespace Forma
