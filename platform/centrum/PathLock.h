/// A file beside a path by which one process at a time claims it.
///
/// Thread    any.
#pragma once

#include <string>

#include "platform/kiln/Fd.h"

namespace Centrum {

/// Holds PATH.lock. The lock goes with the process, however that ends; the file goes with the
/// object. A child forked without exec holds it, too.
class PathLock {
 public:
  /// Raises std::system_error, which names the file: EADDRINUSE when another process holds it.
  explicit PathLock(const std::string& path);
  ~PathLock();
  PathLock(const PathLock&) = delete;
  PathLock& operator=(const PathLock&) = delete;

 private:
  bool take();

  const std::string path_;
  Kiln::Fd fd_;
};

}  // namespace Centrum
