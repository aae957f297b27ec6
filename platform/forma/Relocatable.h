/// Which types may be moved in memory by copying their bytes (and forgetting the originals), so
/// that a growing container can use realloc.
#pragma once

#include <type_traits>

namespace Forma {

template <class T>
inline constexpr bool isRelocatable = false;

/// True when every field of a declared value type, or the type itself, is relocatable.
template <class T>
constexpr bool relocatable() {
  if constexpr (std::is_trivially_copyable_v<T> || isRelocatable<T>) {
    return true;
  } else if constexpr (requires { T::formaMemberNames; }) {
    bool all = true;
    T::formaEachMember([&]<class M>(const auto&, M T::*) { all = all && relocatable<M>(); });
    return all;
  } else {
    return false;
  }
}

}  // namespace Forma
