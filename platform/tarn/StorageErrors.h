/// Errors of files in words that help: what failed, on which path, what is needed and what was
/// found.
///
/// Thread    any.
#pragma once

#include <string>

#include "platform/Export.h"

namespace Tarn {

/// What a call needs to be allowed to do.
enum class Right {
  read,    ///< read the file, or folder, that the path names
  write,   ///< read and write it
  makeIn,  ///< make and remove files in the folder that the path names
};

/// "`what`: why", without the text that belongs to `error`, an errno: that std::system_error adds.
/// For a missing right names what is needed, and mode, owner and group of the file or folder that
/// lacks it, as they are now, and the user and group of this process; for what ran out, what to do.
MPLS_EXPORT std::string failureText(const std::string& what, const std::string& path, Right right,
                                    int error);

/// Raises std::system_error with that text.
[[noreturn]] void raiseFailure(const std::string& what, const std::string& path, Right right,
                               int error);

}  // namespace Tarn
