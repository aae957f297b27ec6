/// Immutable, shared byte strings, and names.
///
/// Thread    reading from any; copies follow the process-wide choice of Ptr.h.
/// Cost      one pointer, null when empty; copying is one increment.
#pragma once

#include <compare>
#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <utility>

#include "platform/Export.h"
#include "platform/forma/Hash.h"
#include "platform/forma/Ptr.h"
#include "platform/forma/Relocatable.h"

namespace Forma {

/// A byte string: any bytes, zero included. Compared by content, bytes as unsigned numbers.
class MPLS_EXPORT String8 {
 public:
  using IteratorConst = const char*;

  String8() = default;
  String8(const char* text) : String8(std::string_view(text)) {}
  String8(const std::string& text) : String8(std::string_view(text)) {}
  String8(std::string_view text);
  String8(IteratorConst begin, IteratorConst end)
      : String8(std::string_view(begin, static_cast<std::size_t>(end - begin))) {}
  String8(const String8& o) : body_(o.body_) {
    if (body_) body_->refs.up();
  }
  String8(String8&& o) noexcept : body_(std::exchange(o.body_, nullptr)) {}
  String8& operator=(String8 o) noexcept {
    std::swap(body_, o.body_);
    return *this;
  }
  ~String8() {
    if (body_ && body_->refs.down()) destroy(body_);
  }

  /// The bytes, followed by a zero byte that is not counted.
  const char* charPtr() const { return body_ ? body_->text() : nothing; }
  std::size_t size() const { return body_ ? body_->size : 0; }
  bool empty() const { return body_ == nullptr; }
  IteratorConst begin() const { return charPtr(); }
  IteratorConst end() const { return charPtr() + size(); }
  std::string_view view() const { return {charPtr(), size()}; }
  operator std::string_view() const { return view(); }

  std::uint64_t hash() const { return hashBytes(charPtr(), size()); }

  friend bool operator==(const String8& a, const String8& b) {
    return a.body_ == b.body_ || a.view() == b.view();
  }
  friend std::strong_ordering operator<=>(const String8& a, const String8& b) {
    return a.view() <=> b.view();
  }
  friend bool operator==(const String8& a, const char* b) { return a.view() == b; }
  friend String8 operator+(const String8& a, const String8& b) { return join(a.view(), b.view()); }
  friend String8 operator+(const String8& a, const char* b) { return join(a.view(), b); }
  friend String8 operator+(const char* a, const String8& b) { return join(a, b.view()); }

 private:
  struct Body {
    RefCount refs{1};
    std::uint32_t size = 0;
    char* text() { return reinterpret_cast<char*>(this + 1); }
  };
  static constexpr char nothing[1] = {};  // one object for all: begin() and end() must agree
  static String8 join(std::string_view a, std::string_view b);
  static Body* make(std::size_t size);
  static void destroy(Body* body);

  Body* body_ = nullptr;
};

/// A string that names an entity or an element of a collection.
class MPLS_EXPORT Name : public String8 {
 public:
  using String8::String8;
  Name() = default;
  Name(String8 text) : String8(std::move(text)) {}
};

template <>
inline constexpr bool isRelocatable<String8> = true;
template <>
inline constexpr bool isRelocatable<Name> = true;

}  // namespace Forma
