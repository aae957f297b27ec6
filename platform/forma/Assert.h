/// Assertions: rules whose breach is a programming error.
///
/// FORMA_ASSERT_TEXT(condition, "condition text", "message") ends the process when the condition
/// does not hold: place, condition and message go to stderr, then the newest records of the ring
/// trace, then abort(). The condition's text is a string of its own, so that no formatter and no
/// renaming changes what operators and tests look for.
///
/// FORMA_THROW_TEXT(condition, source, "condition text", message) makes a record in the ring trace
/// and raises InternalException with the same text instead, `source` as the file: for checks that a
/// caller must be able to survive.
///
/// Thread    any.
#pragma once

#include <string>
#include <string_view>

#include "platform/Export.h"

namespace Forma {

/// "file:line function -- assertion failed(condition): message"; `file` without its folders,
/// the function's signature with blanks, unnamed namespaces and template arguments spelled alike
/// under g++ and clang (which differ in how they name nested types and typedefs).
MPLS_EXPORT std::string assertionText(std::string_view file, int line, std::string_view function,
                                      std::string_view condition, std::string_view message);

[[noreturn]] MPLS_EXPORT void assertionAborts(std::string_view file, int line,
                                              std::string_view function, std::string_view condition,
                                              std::string_view message);
[[noreturn]] MPLS_EXPORT void assertionThrows(std::string_view file, int line,
                                              std::string_view function, std::string_view condition,
                                              std::string_view message);

}  // namespace Forma

#define FORMA_ASSERT_TEXT(condition, text, message)                                     \
  do {                                                                                  \
    if (!(condition)) [[unlikely]]                                                      \
      ::Forma::assertionAborts(__FILE__, __LINE__, __PRETTY_FUNCTION__, text, message); \
  } while (false)

#define FORMA_THROW_TEXT(condition, source, text, message)                            \
  do {                                                                                \
    if (!(condition)) [[unlikely]]                                                    \
      ::Forma::assertionThrows(source, __LINE__, __PRETTY_FUNCTION__, text, message); \
  } while (false)
