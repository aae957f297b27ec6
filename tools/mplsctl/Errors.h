/// What went wrong, on the standard error: a line for people, or with --json an object:
///
///   {"error": {"code": "notFound", "text": "no route of label 100", "file": "..."}}
///
/// Thread    any.
#pragma once

#include <string_view>

#include "tools/mplsctl/Options.h"

namespace MplsCtl {

namespace ErrorCode {
inline constexpr std::string_view usage = "usage";            ///< exit code 2
inline constexpr std::string_view notFound = "notFound";      ///< 1
inline constexpr std::string_view cannotOpen = "cannotOpen";  ///< 3
inline constexpr std::string_view corrupt = "corrupt";        ///< 4
}  // namespace ErrorCode

/// `file` is what it is about: a file, a directory, a path of the database; empty for none. For
/// people it stands before the text, unless that begins with it.
void tellError(const Options& options, std::string_view code, std::string_view text,
               std::string_view file = {});
/// What a command that follows says of its state; with --json {"info": {"text"}}.
void tellInfo(const Options& options, std::string_view text);
/// A line that parts shared with agents log, such as that of the connection, as JSON with its
/// fields. Errors are of the database, such as a path that it refuses; without fields they are
/// faults.
void tellLogLine(const Options& options, std::string_view level, std::string_view text,
                 const Agents::LogFields& fields);

}  // namespace MplsCtl
