/// Applying a macro to each name of a list: what the declaration macros are made of.
///
/// FORMA_EACH(apply, with, a, b, c) expands to apply(with, a) apply(with, b) apply(with, c).
/// Enough for 85 names; a longer list leaves the word FORMA_EACH_NEXT behind, which does not
/// compile.
#pragma once

#include <cstddef>
#include <string_view>

#define FORMA_PARENS ()
#define FORMA_SCAN(...) FORMA_SCAN3(FORMA_SCAN3(FORMA_SCAN3(FORMA_SCAN3(__VA_ARGS__))))
#define FORMA_SCAN3(...) FORMA_SCAN2(FORMA_SCAN2(FORMA_SCAN2(FORMA_SCAN2(__VA_ARGS__))))
#define FORMA_SCAN2(...) FORMA_SCAN1(FORMA_SCAN1(FORMA_SCAN1(FORMA_SCAN1(__VA_ARGS__))))
#define FORMA_SCAN1(...) __VA_ARGS__
#define FORMA_EACH(apply, with, ...) \
  __VA_OPT__(FORMA_SCAN(FORMA_EACH_ONE(apply, with, __VA_ARGS__)))
#define FORMA_EACH_ONE(apply, with, name, ...) \
  apply(with, name) __VA_OPT__(FORMA_EACH_NEXT FORMA_PARENS(apply, with, __VA_ARGS__))
#define FORMA_EACH_NEXT() FORMA_EACH_ONE

namespace Forma {

/// The place of `name` in a list of names, or `size` when it is not there.
template <std::size_t size>
constexpr std::size_t placeOf(const std::string_view (&list)[size], std::string_view name) {
  std::size_t at = 0;
  while (at < size && list[at] != name) ++at;
  return at;
}

/// True when `name` is in `list`; the declaration macros refuse a member that is not listed.
template <std::size_t size>
constexpr bool lists(const std::string_view (&list)[size], std::string_view name) {
  return placeOf(list, name) < size;
}

}  // namespace Forma
