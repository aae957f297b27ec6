/// The directory of a writer: made, opened, and given to whom it belongs. Private to platform/tarn.
///
/// Thread    any.
#pragma once

#include <sys/stat.h>

#include <string>

#include "platform/kiln/Fd.h"
#include "platform/tarn/DirectoryStorage.h"

namespace Tarn {

/// Looks up owner and group, by name or number; empty is that of the process. Raises
/// std::system_error (EINVAL) when there is none of that name. `mode` is that of the directory:
/// files get its rights to read, and their owner may write.
DirectoryRights rightsOf(const std::string& owner, const std::string& group, mode_t mode);

/// Opens a directory; when missing makes it (for its owner alone, until rightsAre) and those above
/// it (mode 0755). Changes nothing of one that is there. Raises std::system_error.
Kiln::Fd madeDirectory(const std::string& path);

/// Gives it owner, group and mode; does nothing when it has them. Raises std::system_error, which
/// names what is needed and what was found.
void rightsAre(const Kiln::Fd& directory, const std::string& path, const DirectoryRights& rights,
               mode_t mode);

/// An absolute path without slashes at its end. Raises std::system_error (EINVAL) for an empty one.
std::string absolutePath(const std::string& path);

/// Whether the file or directory at `path` is that one: 0 when it is, ENOENT when it is another or
/// none, else why nobody knows.
int compareFile(const std::string& path, const struct stat& file);

}  // namespace Tarn
