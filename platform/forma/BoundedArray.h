/// Arrays of values with a bound: as many elements as are used, kept in place.
///
///   FORMA_INDEX_RANGE(LfibViaIndexRange, 127)
///   class LfibViaSet {
///     FORMA_VALUE(Mpls::LfibViaSet, key, viaKey)
///     FORMA_FIELD(LfibViaSetKey, key)
///     FORMA_ARRAY_FIELD(LfibViaKey, LfibViaIndexRange, viaKey)
///   };
///
/// gives viaKey(index), viaKeyIs(index, value), viaKeyIs(span), viaKeys(), viaKeyIteratorConst(),
/// viaKeyDelAll(), and the functions by which the row turns itself into bytes (FlatRow.h).
#pragma once

#include <algorithm>
#include <array>
#include <compare>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <span>
#include <string>
#include <string_view>
#include <type_traits>

#include "platform/Export.h"
#include "platform/forma/Errors.h"
#include "platform/forma/FlatRow.h"
#include "platform/forma/Hash.h"
#include "platform/forma/Relocatable.h"
#include "platform/forma/Text.h"
#include "platform/forma/TypeName.h"
#include "platform/forma/Value.h"
#include "platform/forma/Wire.h"

namespace Forma {

/// Raises RangeException: "LfibViaIndexRange::value < ..." for that type.
[[noreturn]] MPLS_EXPORT void throwOutsideIndexRange(std::string_view type);
/// Raises RangeException: an element behind the one that would be next.
[[noreturn]] MPLS_EXPORT void throwElementAhead(std::string_view index, std::size_t at,
                                                std::size_t count);

/// The text of an array of bytes: that of a string.
MPLS_EXPORT void printBytes(std::string& out, std::string_view bytes);
MPLS_EXPORT String8 parseBytes(TextIn& in);

/// Up to Index::max + 1 elements. Ordered by elements, then by count.
///
/// Text      [first, second]; an array of std::uint8_t prints as the string of its bytes.
/// Wire      the count in 32 bits, then the elements.
/// Errors    RangeException for an index outside of its range, or ahead of the next free one.
template <class Element, class Index>
class BoundedArray {
  static_assert(std::is_trivially_copyable_v<Element>, "elements of an array are flat");

 public:
  using FormaElement = Element;
  using FormaIndex = Index;
  static constexpr std::size_t capacity = Index::max + std::size_t{1};
  static constexpr bool isText = std::is_same_v<Element, std::uint8_t>;
  static_assert(capacity <= 0xffff);

  BoundedArray() {}  // not defaulted: the room need not be zeroed
  BoundedArray(const BoundedArray& o) noexcept { copy(o.data(), o.size()); }
  BoundedArray& operator=(const BoundedArray& o) noexcept {
    if (this != &o) copy(o.data(), o.size());
    return *this;
  }
  ~BoundedArray() = default;

  std::size_t size() const { return size_; }
  bool empty() const { return size_ == 0; }
  const Element* data() const { return reinterpret_cast<const Element*>(room_); }
  const Element* begin() const { return data(); }
  const Element* end() const { return data() + size_; }
  std::span<const Element> span() const { return {data(), size_}; }

  /// The element at `index`; a default one behind those in use.
  Element get(Index index) const {
    return index.value() < size_ ? data()[index.value()] : Element{};
  }
  /// Changes an element, or appends the next one.
  void put(Index index, const Element& element) {
    const std::size_t at = index.value();
    if (at > size_) throwElementAhead(Index::formaIndexName, at, size_);
    std::memcpy(room_ + at * sizeof(Element), &element, sizeof element);
    if (at == size_) ++size_;
  }
  /// All elements at once; they may lie in this array.
  void assign(std::span<const Element> all) {
    if (all.size() > capacity) throwOutsideIndexRange(Index::formaIndexName);
    copy(all.data(), all.size());
  }
  void clear() { size_ = 0; }

  std::string_view view() const requires isText {
    return {reinterpret_cast<const char*>(room_), size_};
  }
  void assign(std::string_view text) requires isText {
    assign({reinterpret_cast<const std::uint8_t*>(text.data()), text.size()});
  }

  /// Runtime only: room for that many elements, at most `capacity`, which the caller fills.
  Element* formaResize(std::size_t count) {
    size_ = static_cast<std::uint16_t>(count);
    return reinterpret_cast<Element*>(room_);
  }

  std::uint64_t hash() const {
    if constexpr (isText) return hashBytes(room_, size_);
    std::uint64_t h = size_;
    for (const Element& one : *this) h = hashInto(h, one);
    return h;
  }
  friend bool operator==(const BoundedArray& a, const BoundedArray& b) {
    return std::equal(a.begin(), a.end(), b.begin(), b.end());
  }
  friend auto operator<=>(const BoundedArray& a,
                          const BoundedArray& b) requires std::three_way_comparable<Element> {
    return std::lexicographical_compare_three_way(a.begin(), a.end(), b.begin(), b.end());
  }

  friend void formaPrint(std::string& out, const BoundedArray& v) {
    if constexpr (isText) {
      printBytes(out, v.view());
    } else {
      std::string_view before = "[";
      for (const Element& one : v) {
        out.append(before);
        before = ", ";
        print(out, one);
      }
      out.append(v.empty() ? "[]" : "]");
    }
  }
  friend void formaParse(TextIn& in, BoundedArray& v) {
    BoundedArray next;
    if constexpr (isText) {
      next.assign(parseBytes(in).view());
    } else {
      in.take("[");
      while (!in.tryTake("]")) {
        if (!next.empty()) in.take(", ");
        Element one{};
        parse(in, one);
        next.put(Index(next.size()), one);
      }
    }
    v = next;
  }
  friend void formaEncode(std::string& out, const BoundedArray& v) {
    encode(out, static_cast<std::uint32_t>(v.size()));
    for (const Element& one : v) encode(out, one);
  }
  friend void formaDecode(BytesIn& in, BoundedArray& v) {
    const std::uint64_t count = in.take(4);
    if (count > capacity) in.fail("a shorter array");
    BoundedArray next;
    for (std::size_t i = 0; i < count; ++i) {
      Element one{};
      decode(in, one);
      next.put(Index(i), one);
    }
    v = next;
  }
  friend std::ostream& operator<<(std::ostream& out, const BoundedArray& v) {
    return writeText(out, valueToStrep(v).view());
  }

 private:
  static constexpr std::size_t nameSize =
      typeName<Element>().size() + Index::formaIndexName.size() + 2;
  static constexpr std::array<char, nameSize> nameText = [] {
    std::array<char, nameSize> text{};
    char* at = std::ranges::copy(typeName<Element>(), text.data()).out;
    *at++ = '[';
    *std::ranges::copy(Index::formaIndexName, at).out = ']';
    return text;
  }();

  void copy(const Element* from, std::size_t count) {
    size_ = static_cast<std::uint16_t>(count);
    if (count != 0) std::memmove(room_, from, count * sizeof(Element));
  }

  std::uint16_t size_ = 0;
  alignas(Element) std::byte room_[capacity * sizeof(Element)];  // filled as far as it is used

 public:
  static constexpr std::string_view formaTypeName{nameText.data(), nameSize};
};

template <class Element, class Index>
inline constexpr bool isRelocatable<BoundedArray<Element, Index>> = true;

/// Changes one element, or appends one; keeps the row unchanged when its constraints refuse that.
template <class T, class Array>
void setElement(T& self, Array T::*at, typename Array::FormaIndex index,
                const typename Array::FormaElement& value) {
  if constexpr (requires { self.check(); }) {
    Array next = self.*at;
    next.put(index, value);
    setField(self, at, next);
  } else {
    (self.*at).put(index, value);
  }
}
template <class T, class Array, class Source>
void setElements(T& self, Array T::*at, Source all) {
  Array next;
  next.assign(all);
  setField(self, at, next);
}

}  // namespace Forma

/// The numbers 0 to `last` as places in an array: a class of that name with `min`, `max` and
/// value(). Raises RangeException outside, "Type::value < Type::min or > Type::max not allowed".
#define FORMA_INDEX_RANGE(Type, last)                                               \
  class Type {                                                                      \
   public:                                                                          \
    static constexpr std::string_view formaIndexName = #Type;                       \
    static constexpr std::uint32_t min = 0;                                         \
    static constexpr std::uint32_t max = last;                                      \
    constexpr Type() = default;                                                     \
    constexpr Type(std::size_t value) : value_(static_cast<std::uint32_t>(value)) { \
      if (value > max) ::Forma::throwOutsideIndexRange(formaIndexName);             \
    }                                                                               \
    constexpr std::uint32_t value() const { return value_; }                        \
    constexpr auto operator<=>(const Type&) const = default;                        \
                                                                                    \
   private:                                                                         \
    std::uint32_t value_ = 0;                                                       \
  };

/// One array field; see the head of this file.
#define FORMA_ARRAY_FIELD(ElementType, IndexType, name)                                       \
 public:                                                                                      \
  /** A default element behind those in use. */                                               \
  ElementType name(IndexType index) const { return name##_.get(index); }                      \
  std::size_t name##s() const { return name##_.size(); }                                      \
  std::span<const ElementType> name##IteratorConst() const { return name##_.span(); }         \
  /** Changes an element in use, or appends the next. */                                      \
  void name##Is(IndexType index, ElementType value) {                                         \
    static_assert(::Forma::lists(formaMemberNames, #name), "list this field in FORMA_VALUE"); \
    ::Forma::setElement(*this, &FormaSelf::name##_, index, value);                            \
  }                                                                                           \
  void name##Is(std::span<const ElementType> all) {                                           \
    ::Forma::setElements(*this, &FormaSelf::name##_, all);                                    \
  }                                                                                           \
  void name##DelAll() { name##Is(std::span<const ElementType>{}); }                           \
  FORMA_SERIALIZED_BY(name)                                                                   \
  ::Forma::BoundedArray<ElementType, IndexType> name##_;

/// An array of bytes, with access as a text: nameText(), nameTextIs(text).
#define FORMA_BYTES_FIELD(IndexType, name)                       \
  FORMA_ARRAY_FIELD(std::uint8_t, IndexType, name)               \
 public:                                                         \
  std::string_view name##Text() const { return name##_.view(); } \
  void name##TextIs(std::string_view text) {                     \
    ::Forma::setElements(*this, &FormaSelf::name##_, text);      \
  }                                                              \
                                                                 \
 private:
