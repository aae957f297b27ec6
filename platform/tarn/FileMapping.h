/// Files of tables as parts of the address space. Private to platform/tarn.
///
/// Thread    any.
#pragma once

#include <sys/stat.h>
#include <sys/types.h>

#include <utility>

#include "platform/kiln/Fd.h"
#include "platform/tarn/Storage.h"

namespace Tarn {

class MappedRange;

/// What a mapping of a file knows of it, while it lives; goes with the mapping, and unmaps it.
struct FileMapping {
  std::size_t size = 0;
  dev_t device = 0;
  ino_t inode = 0;
  pid_t owner = 0;               ///< the only process that has it; 0: forked children have it too
  MappedRange* range = nullptr;  ///< what the handler of bus errors knows of it

  void operator()(std::byte* bytes) const;
};

/// Why a file cannot be part of a table, as an errno and in words; 0 when it can.
std::pair<int, const char*> flawOf(const struct stat& file);

/// Maps a whole file, of which `file` tells; writes reach it, and forked children do not get it,
/// when that is for writing. Gives none, and errno says why, when the kernel refuses. The
/// descriptor is not needed afterwards. Raises std::bad_alloc.
Mapping mapFile(const Kiln::Fd& fd, const struct stat& file, Access access);

/// What is known of a mapping; null when it is none that mapFile() made.
const FileMapping* knownOf(const Mapping& mapping);

}  // namespace Tarn
