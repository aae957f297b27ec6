/// The flat form of values: their fields in declaration order, without padding, little-endian, at
/// places that are known when compiled. It is what stands in shared memory.
///
/// Leaves are integers, bool (one byte, not 0 means true), enumerations (any number is taken),
/// double, and opaque values of which all bytes count (an address, a label): these are copied. An
/// array (BoundedArray) is its count in 16 bits, then its elements. Nothing else has a flat form.
///
/// Loading is safe whatever the bytes are. A type may have `bool formaFlatOk() const`, asked of
/// each value loaded: false when it breaks what the type's functions rely on.
///
/// Thread    any.
/// Cost      one copy of memory where a value lies as its flat form does, else one for each leaf.
#pragma once

#include <bit>
#include <concepts>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <new>
#include <type_traits>

#include "platform/forma/Hash.h"

namespace Forma {

static_assert(std::endian::native == std::endian::little, "flat forms are little-endian");

template <class T>
concept FlatArray = requires {
  typename T::FormaElement;
  typename T::FormaIndex;
};

template <class T>
concept FlatLeaf = std::is_integral_v<T> || std::is_enum_v<T> || std::same_as<T, double> ||
    (!VisitsMembers<T> && !FlatArray<T> && requires { T::formaTypeName; } &&
     std::is_trivially_copyable_v<T> && std::has_unique_object_representations_v<T>);

// ---- Sizes --------------------------------------------------------------------------------------

struct FlatSize {
  std::size_t least = 0;
  std::size_t most = 0;
};

template <class T>
constexpr FlatSize flatSize() {
  if constexpr (FlatLeaf<T>) {
    return {sizeof(T), sizeof(T)};
  } else if constexpr (FlatArray<T>) {
    constexpr FlatSize element = flatSize<typename T::FormaElement>();
    static_assert(element.least == element.most, "no arrays in arrays");
    return {sizeof(std::uint16_t), sizeof(std::uint16_t) + T::capacity * element.most};
  } else if constexpr (VisitsMembers<T>) {
    FlatSize sum;
    T::formaEachMember([&sum]<class C, class M>(const auto&, M C::*) {
      constexpr FlatSize size = flatSize<M>();
      sum.least += size.least;
      sum.most += size.most;
    });
    return sum;
  } else {
    static_assert(!sizeof(T), "this type has no flat form: it cannot stand in a table's row");
    return {};
  }
}

template <class T>
inline constexpr bool isFlat = flatSize<T>().least == flatSize<T>().most;
/// Bytes of the flat form of a type without arrays.
template <class T>
requires isFlat<T>
inline constexpr std::size_t flatBytes = flatSize<T>().most;

/// Bytes of the flat form of `v`.
template <class T>
std::size_t flatSizeOf(const T& v) {
  if constexpr (isFlat<T>) {
    return flatBytes<T>;
  } else if constexpr (FlatArray<T>) {
    return sizeof(std::uint16_t) + v.size() * flatBytes<typename T::FormaElement>;
  } else {
    std::size_t sum = 0;
    T::formaEachMember([&](const auto&, auto at) { sum += flatSizeOf(v.*at); });
    return sum;
  }
}

// ---- Whether a value lies in memory as its flat form does ---------------------------------------

template <class T>
constexpr bool mayLieFlat() {
  if constexpr (!std::is_trivially_copyable_v<T> || !isFlat<T>) return false;
  else return sizeof(T) == flatBytes<T>;
}

/// Whether each leaf of `v` stands at its place of the flat form. Compilers fold it to a constant.
template <class T>
bool liesFlat(const T& v, const void* at) {
  if constexpr (!mayLieFlat<T>()) {
    return false;
  } else if constexpr (FlatLeaf<T>) {
    return static_cast<const void*>(&v) == at;
  } else {
    const auto* place = static_cast<const std::byte*>(at);
    bool flat = true;
    T::formaEachMember([&]<class C, class M>(const auto&, M C::*member) {
      flat = flat && liesFlat(v.*member, place);
      place += flatBytes<M>;
    });
    return flat;
  }
}

// ---- Storing ------------------------------------------------------------------------------------

/// Writes the flat form of `v` and returns its end. There must be room for flatSizeOf(v) bytes.
template <class T>
[[gnu::flatten]] inline std::byte* storeFlat(std::byte* to, const T& v);

template <class T>
inline std::byte* storeLeaves(std::byte* to, const T& v) {
  if constexpr (FlatLeaf<T>) {
    std::memcpy(to, &v, sizeof v);
    return to + sizeof v;
  } else if constexpr (FlatArray<T>) {
    using Element = typename T::FormaElement;
    const auto count = static_cast<std::uint16_t>(v.size());
    std::memcpy(to, &count, sizeof count);
    to += sizeof count;
    if (v.empty()) return to;
    if (liesFlat(*v.data(), v.data())) {
      std::memcpy(to, v.data(), count * sizeof(Element));
      return to + count * sizeof(Element);
    }
    for (const Element& one : v) to = storeFlat(to, one);
    return to;
  } else {
    T::formaEachMember([&](const auto&, auto at) { to = storeLeaves(to, v.*at); });
    return to;
  }
}

template <class T>
inline std::byte* storeFlat(std::byte* to, const T& v) {
  if constexpr (mayLieFlat<T>())
    if (liesFlat(v, &v)) {
      std::memcpy(to, &v, sizeof v);
      return to + sizeof v;
    }
  return storeLeaves(to, v);
}

// ---- Loading ------------------------------------------------------------------------------------

/// Whether any bytes make a sound value of T.
template <class T>
constexpr bool anyBytesDo() {
  if constexpr (std::same_as<T, bool> || requires(const T& v) { v.formaFlatOk(); }) {
    return false;
  } else if constexpr (VisitsMembers<T>) {
    bool all = true;
    T::formaEachMember([&all]<class C, class M>(const auto&, M C::*) { all &= anyBytesDo<M>(); });
    return all;
  } else {
    return true;
  }
}

/// Makes bools good that were copied from `from`, and asks types what they think of their bytes.
template <class T>
inline bool mendLoaded(const std::byte* from, T& v) {
  bool sound = true;
  if constexpr (std::same_as<T, bool>) {
    v = *from != std::byte{0};
  } else if constexpr (VisitsMembers<T> && !anyBytesDo<T>()) {
    T::formaEachMember([&]<class C, class M>(const auto&, M C::*at) {
      sound &= mendLoaded(from, v.*at);
      from += flatBytes<M>;
    });
  }
  if constexpr (requires { v.formaFlatOk(); }) sound = sound && v.formaFlatOk();
  return sound;
}

template <class T>
inline void loadLeaves(const std::byte* from, T& v) {
  if constexpr (std::same_as<T, bool>) {
    v = *from != std::byte{0};
  } else if constexpr (FlatLeaf<T>) {
    std::memcpy(static_cast<void*>(&v), from, sizeof v);
  } else {
    T::formaEachMember([&]<class C, class M>(const auto&, M C::*at) {
      loadLeaves(from, v.*at);
      from += flatBytes<M>;
    });
  }
}

/// Reads a value of flatBytes<T> bytes; whether they are sound. If not `v` is of no use, but safe
/// to destroy and to assign to.
template <class T>
requires isFlat<T>
[[gnu::flatten]] inline bool loadFlat(const std::byte* from, T& v) {
  if (liesFlat(v, &v)) std::memcpy(static_cast<void*>(&v), from, sizeof v);
  else loadLeaves(from, v);
  if constexpr (anyBytesDo<T>()) return true;
  else return mendLoaded(from, v);
}

template <FlatArray A>
const std::byte* loadElements(const std::byte* from, const std::byte* end, A& v) {
  using Element = typename A::FormaElement;
  std::uint16_t count = 0;
  if (end - from < std::ptrdiff_t{sizeof count}) return nullptr;
  std::memcpy(&count, from, sizeof count);
  from += sizeof count;
  if (count > A::capacity) return nullptr;
  const std::size_t bytes = count * flatBytes<Element>;
  if (static_cast<std::size_t>(end - from) < bytes) return nullptr;
  Element* const to = v.formaResize(count);
  bool sound = true;
  if constexpr (mayLieFlat<Element>() && anyBytesDo<Element>())
    if (liesFlat(*to, to)) {
      std::memcpy(static_cast<void*>(to), from, bytes);
      return from + bytes;
    }
  for (std::size_t i = 0; i < count; ++i, from += flatBytes<Element>)
    sound &= loadFlat(from, *new (to + i) Element{});
  return sound ? from : nullptr;
}

/// Reads a value from the bytes before `end`; returns where it ended, null when it is not sound.
template <class T>
[[gnu::flatten]] inline const std::byte* loadFlat(const std::byte* from, const std::byte* end,
                                                  T& v) {
  if constexpr (isFlat<T>) {
    if (static_cast<std::size_t>(end - from) < flatBytes<T>) return nullptr;
    return loadFlat(from, v) ? from + flatBytes<T> : nullptr;
  } else if constexpr (FlatArray<T>) {
    return loadElements(from, end, v);
  } else {
    T::formaEachMember([&](const auto&, auto at) {
      if (from != nullptr) from = loadFlat(from, end, v.*at);
    });
    return from;
  }
}

/// Reads all of the bytes as one value; whether they are a sound one and nothing else.
template <class T>
bool loadWhole(const std::byte* from, std::size_t bytes, T& v) {
  return loadFlat(from, from + bytes, v) == from + bytes;
}

}  // namespace Forma
