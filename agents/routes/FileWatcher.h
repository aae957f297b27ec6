/// Tells when files change, however that is done: written in place, replaced by rename as editors
/// and configuration tools do, deleted, created, or reached through a symbolic link that changed.
///
/// The directories are watched, not the files: a file that is replaced is another file. A change is
/// told once it has been quiet for a moment, so that one edit is one change.
///
/// Thread    that of the event loop, which must outlive it.
/// Limits    a directory that is missing is looked for every half second. A file that is still
///           being written in place is told when its writer closes it.
#pragma once

#include <sys/inotify.h>
#include <sys/types.h>

#include <functional>
#include <map>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "platform/kiln/EventLoop.h"

namespace StaticRoutes {

class FileWatcher {
 public:
  /// Gets the numbers of the files that may have changed, in the order of `paths`.
  using Handler = std::function<void(const std::set<std::size_t>& files)>;

  /// Seconds of quiet before a change is told, and the most that it is put off.
  static constexpr double quiet = 0.05;
  static constexpr double longest = 0.5;

  /// Watches from now on; an empty path is passed over. Raises std::system_error when the kernel
  /// has no watches left.
  FileWatcher(Kiln::EventLoop& loop, std::vector<std::string> paths, Handler handler);
  ~FileWatcher();
  FileWatcher(const FileWatcher&) = delete;
  FileWatcher& operator=(const FileWatcher&) = delete;

 private:
  /// Which file a path leads to; all zeros when to none.
  using Identity = std::pair<dev_t, ino_t>;
  struct File {
    std::string path;
    Identity identity;
    std::set<std::pair<int, std::string>> entries;  // watch and name by which it is reached
  };

  void watchAll();
  void watch(File& file, const std::string& path);
  void handleReadable();
  void handleEvent(const inotify_event& event);
  void handleDirectoryGone();
  void changed();
  void tell();

  Kiln::EventLoop& loop_;
  const int fd_;
  Handler handler_;
  std::vector<File> files_;
  std::map<int, std::string> directories_;  // by watch
  std::set<std::size_t> dirty_;
  double firstChange_ = 0;  // of those that were not told, by the loop's clock
  Kiln::Timer quietTimer_;
  Kiln::Timer retryTimer_;
};

}  // namespace StaticRoutes
