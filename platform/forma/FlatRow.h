/// Rows that turn themselves into bytes, their flat form: what an array field gives its class.
///
/// Thread    any.
#pragma once

#include <cstddef>
#include <string_view>

#include "platform/forma/FlatForm.h"

namespace Forma {

template <class T>
constexpr bool isFirstArray(std::string_view name) {
  bool found = false;
  bool is = false;
  T::formaEachMember([&]<class C, class M>(const auto& member, M C::*) {
    if (FlatArray<M> && !found) {
      found = true;
      is = member.name == name;
    }
  });
  return is;
}

/// Tells the functions below from those of a row that brings its own.
struct DerivedForm {};

/// How many bytes a value takes that begins at `from`; 0 when they are not all there.
template <class T>
std::size_t flatSizeAt(const std::byte* from, std::size_t bytes) {
  T v;
  const std::byte* const end = loadFlat(from, from + bytes, v);
  return end == nullptr ? 0 : static_cast<std::size_t>(end - from);
}

}  // namespace Forma

/// serializeLen(), serialize(to), deserializeLen(from, bytes) and deserialize(from, bytes) of a
/// row, given by the first of its arrays. deserializeLen() is how many bytes the row takes that
/// begins at `from`, 0 when it is damaged or not all there; deserialize() says whether all bytes
/// are one row.
#define FORMA_SERIALIZED_BY(name)                                                               \
 private:                                                                                       \
  template <class FormaT>                                                                       \
  static constexpr bool name##Serializes = ::Forma::isFirstArray<FormaT>(#name);                \
                                                                                                \
 public:                                                                                        \
  template <class FormaT = FormaSelf>                                                           \
  requires name##Serializes<FormaT> std::size_t serializeLen(::Forma::DerivedForm = {}) const { \
    return ::Forma::flatSizeOf<FormaT>(*this);                                                  \
  }                                                                                             \
  template <class FormaT = FormaSelf>                                                           \
  requires name##Serializes<FormaT> void serialize(std::byte* to, ::Forma::DerivedForm = {})    \
      const {                                                                                   \
    ::Forma::storeFlat<FormaT>(to, *this);                                                      \
  }                                                                                             \
  template <class FormaT = FormaSelf>                                                           \
  requires name##Serializes<FormaT> static std::size_t deserializeLen(                          \
      const std::byte* from, std::size_t bytes, ::Forma::DerivedForm = {}) {                    \
    return ::Forma::flatSizeAt<FormaT>(from, bytes);                                            \
  }                                                                                             \
  template <class FormaT = FormaSelf>                                                           \
  requires name##Serializes<FormaT> bool deserialize(const std::byte* from, std::size_t bytes,  \
                                                     ::Forma::DerivedForm = {}) {               \
    return ::Forma::loadWhole<FormaT>(from, bytes, *this);                                      \
  }                                                                                             \
                                                                                                \
 private:
