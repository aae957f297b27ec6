/// The lock by which one process at a time writes the tables of a directory. Private to
/// platform/tarn.
///
/// A POSIX record lock on writer.lock: it goes with the process, however that ends, and no child
/// inherits it. But any descriptor of the file that the process closes drops it, too, so nothing
/// else opens the file: what this process has locked is known to it, and asked first. The file is
/// for its owner alone, as who may read it could keep a writer out by a lock for reading. It is
/// left there, so that nobody holds a lock on a file that is gone.
///
/// Thread    any; each object one at a time.
#pragma once

#include <sys/stat.h>

#include <string>

#include "platform/tarn/DirectoryStorage.h"
#include "platform/tarn/PrivateFd.h"
#include "platform/tarn/WriterInfo.h"

namespace Tarn {

class WriterLock {
 public:
  /// Takes the lock of the directory that `directory` is a descriptor of, and `path` the path.
  /// Raises std::system_error: EADDRINUSE, naming who holds it, or what the kernel refuses.
  WriterLock(int directory, const std::string& path, const std::string& agent);
  ~WriterLock();
  WriterLock(const WriterLock&) = delete;
  WriterLock& operator=(const WriterLock&) = delete;

  /// Takes the lock again when others took its file away; raises what the constructor raises.
  void renew();
  /// Gives the file to whom the tables belong, so that another agent of theirs can lock it later;
  /// false, and errno says why, when that fails.
  bool ownerIs(const DirectoryRights& rights) const;
  /// False in a forked child, without a system call.
  bool isHeld() const { return static_cast<bool>(file_); }
  /// Whether the file that is locked still has its name.
  bool isThere() const;
  const WriterInfo& info() const { return info_; }

 private:
  struct Claim;  // on a directory, within this process

  bool take();
  [[noreturn]] void refuse(int fd, pid_t holder) const;

  const int directory_;
  const std::string path_;
  const WriterInfo info_;
  struct stat locked_ {};  // the directory
  PrivateFd file_;
};

}  // namespace Tarn
