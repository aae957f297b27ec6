/// The wire form of a type as code that works on raw memory, for those who know the type at run
/// time only.
///
/// Thread    any.
#pragma once

#include <cstddef>
#include <memory>
#include <new>
#include <string>

#include "platform/forma/Wire.h"

namespace Forma {

struct WireForm {
  std::size_t size;
  std::size_t alignment;
  void (*make)(void* at);  ///< constructs a default value
  void (*destroy)(void* value) noexcept;
  void (*encode)(std::string& out, const void* value);
  void (*decode)(BytesIn& in, void* value);
};

/// The wire form of T.
template <class T>
inline constexpr WireForm wireFormOf{
    sizeof(T),
    alignof(T),
    [](void* at) { std::construct_at(static_cast<T*>(at)); },
    [](void* value) noexcept { std::destroy_at(static_cast<T*>(value)); },
    [](std::string& out, const void* value) { Forma::encode(out, *static_cast<const T*>(value)); },
    [](BytesIn& in, void* value) { Forma::decode(in, *static_cast<T*>(value)); }};

/// One value of a type that is known at run time, on the stack when it is small. Without a form it
/// is none, and get() is null: the key of a member that has no keys.
class WireValue {
 public:
  explicit WireValue(const WireForm* form) : form_(form) {
    if (!form_) return;
    value_ = fits() ? static_cast<void*>(room_)
                    : ::operator new(form_->size, std::align_val_t(form_->alignment));
    form_->make(value_);
  }
  /// Decodes all of `bytes`; raises ParseException or RangeException when they are no such value.
  WireValue(const WireForm* form, std::string_view bytes) : WireValue(form) {
    BytesIn in(bytes);
    if (form_) form_->decode(in, value_);
    if (!in.atEnd()) in.fail("the end of the value");
  }
  WireValue(const WireValue&) = delete;
  WireValue& operator=(const WireValue&) = delete;
  ~WireValue() {
    if (!form_) return;
    form_->destroy(value_);
    if (!fits()) ::operator delete(value_, std::align_val_t(form_->alignment));
  }
  void* get() const { return value_; }

 private:
  bool fits() const {
    return form_->size <= sizeof room_ && form_->alignment <= alignof(max_align_t);
  }

  const WireForm* form_;
  void* value_ = nullptr;
  alignas(std::max_align_t) std::byte room_[64];
};

}  // namespace Forma
