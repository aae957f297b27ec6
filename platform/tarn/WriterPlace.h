/// The directory of a writer with its lock and its doorbell: what others may take away, and one
/// process has at a time. Private to platform/tarn.
///
/// Thread    that of the loop.
#pragma once

#include <sys/stat.h>

#include <functional>
#include <memory>
#include <string>

#include "platform/kiln/EventLoop.h"
#include "platform/kiln/Fd.h"
#include "platform/tarn/DirectoryStorage.h"
#include "platform/tarn/Doorbell.h"
#include "platform/tarn/WriterLock.h"

namespace Tarn {

/// What a writer asked for.
struct PlacePlan {
  std::string path;  ///< absolute
  DirectoryRights rights;
  mode_t mode = 0755;  ///< of the directory
  std::string agent;
};

class WriterPlace {
 public:
  /// Makes the directory if it is missing, takes the lock, then gives it its rights. Raises
  /// std::system_error: EADDRINUSE when another writes there; nothing is changed then.
  explicit WriterPlace(const PlacePlan& plan);

  /// False in a forked child, without a system call.
  bool isHeld() const { return lock_.isHeld(); }
  /// Whether there is another directory at the path, or none. Raises std::system_error when that
  /// cannot be told.
  bool isGone() const;
  /// Takes readers from now on: to be called when they find all the rest. Returns what went wrong
  /// that they can do without; raises std::system_error for the rest.
  std::string open(Kiln::EventLoop& loop);
  /// Makes lock and socket again if their files are gone; says so. Raises what the constructor
  /// raises.
  std::string mend();
  /// Null before open().
  Doorbell* bell() const { return bell_.get(); }

 private:
  std::string publishInfo() const;

  const PlacePlan plan_;
  const Kiln::Fd directory_;
  struct stat file_ {};  // the directory's
  WriterLock lock_;
  std::unique_ptr<Doorbell> bell_;  // goes before the lock
};

}  // namespace Tarn
