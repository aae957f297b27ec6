/// A directory that a reader waits for, or has: by path, whatever stands there at the time. Private
/// to platform/tarn.
///
/// Thread    that of the loop.
#pragma once

#include <sys/stat.h>

#include <functional>
#include <memory>
#include <string>
#include <utility>

#include "platform/kiln/EventLoop.h"
#include "platform/kiln/Fd.h"
#include "platform/tarn/CurrentStorage.h"
#include "platform/tarn/DirectoryWatch.h"

namespace Tarn {

class SoughtDirectory {
 public:
  /// `path` is absolute.
  explicit SoughtDirectory(const std::string& path) : path_(path), storage_(path) {}
  SoughtDirectory(const SoughtDirectory&) = delete;
  SoughtDirectory& operator=(const SoughtDirectory&) = delete;

  /// Calls `handler` from the loop when find() may find something, for as long as this lives or
  /// until unwatch(). Raises std::system_error when the kernel gives no inotify.
  void watch(Kiln::EventLoop& loop, std::function<void()> handler);
  void unwatch() { watch_ = nullptr; }
  /// Calls `handler` when a table missed a file and found that the directory is another: find() is
  /// due then, but not inside of the call.
  void onOtherIs(std::function<void()> handler);

  /// Opens what stands at the path; one that is gone stays open, and so do its tables.
  void find();
  /// Why there is no directory at the path; empty when there is.
  const std::string& problem() const { return problem_; }
  /// Whether the directory is another than when this was asked last; the first is no other.
  bool takeOther() { return std::exchange(isOther_, false); }

  explicit operator bool() const { return static_cast<bool>(directory_); }
  int get() const { return directory_.get(); }
  /// Its files; none while there is no directory.
  const CurrentStorage& storage() const { return storage_; }

 private:
  void open();
  bool isOther();

  const std::string path_;
  CurrentStorage storage_;
  std::unique_ptr<DirectoryWatch> watch_;
  Kiln::Fd directory_;
  struct stat file_ {};  // the directory's
  std::function<void()> onOther_;
  std::string problem_;
  bool isOther_ = false;
};

}  // namespace Tarn
