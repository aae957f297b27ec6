/// Tells when a directory, or something in it that a reader of tables waits for, may have come or
/// gone, by inotify. Private to platform/tarn.
///
/// Thread    that of the loop, which must outlive it.
#pragma once

#include <functional>
#include <string>

#include "platform/kiln/EventLoop.h"
#include "platform/tarn/PrivateFd.h"

namespace Tarn {

class DirectoryWatch {
 public:
  /// Calls `handler` from the loop; it may destroy this. `path` is absolute. Raises
  /// std::system_error when the kernel gives no inotify.
  DirectoryWatch(Kiln::EventLoop& loop, std::string path, std::function<void()> handler);
  ~DirectoryWatch();
  DirectoryWatch(const DirectoryWatch&) = delete;
  DirectoryWatch& operator=(const DirectoryWatch&) = delete;

  /// Watches the directory, or the nearest above it that can be watched: to be called before each
  /// look at the path, as the watch may be on one that is gone. One system call if it is not.
  void renew();

 private:
  int watchNearest();
  void hear();
  bool matters(std::uint32_t mask, const std::string& name) const;

  Kiln::EventLoop& loop_;
  const std::string path_;
  const std::function<void()> handler_;
  const PrivateFd inotify_;
  int watch_ = -1;
  std::string awaited_;  // the name that matters, if not the directory itself is watched
};

}  // namespace Tarn
