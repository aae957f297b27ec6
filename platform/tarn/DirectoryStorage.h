/// Tables as files of a directory, on a file system in memory by rights.
///
/// Thread    one for each object. Mappings may go in any thread, after their storage too.
/// Files     are made as ".NAME.tmp", reserved with posix_fallocate, filled, given owner and mode,
///           renamed. Descriptors are closed once a file is mapped.
#pragma once

#include <sys/stat.h>
#include <sys/types.h>

#include <memory>
#include <string>

#include "platform/Export.h"
#include "platform/tarn/Storage.h"

namespace Tarn {

/// A mapping of that size or more begins at a multiple of it: the processor can then map so much at
/// a time, where the file has it in one piece (DirectoryStorage sees to that).
inline constexpr std::size_t largePageBytes = std::size_t{2} << 20;

/// The calls of the kernel that tables are made with, so that a test can let one fail. Each does as
/// the function of its name, unless it says more.
class MPLS_EXPORT SystemCalls {
 public:
  virtual ~SystemCalls();
  virtual int openat(int directory, const char* name, int flags, mode_t mode);
  virtual int fallocate(int fd, off_t size);  ///< posix_fallocate: returns the error
  /// Shares the file from its start; without one (-1) gives private memory, zeroed.
  virtual void* mmap(std::size_t size, int protection, int fd);
  virtual int madvise(void* at, std::size_t size, int advice);
  virtual int renameat(int directory, const char* from, const char* to);
  virtual int unlinkat(int directory, const char* name);
  virtual int mkdirat(int directory, const char* name, mode_t mode);
  virtual int fchown(int fd, uid_t owner, gid_t group);
  virtual int fchmod(int fd, mode_t mode);
  virtual int fstat(int fd, struct stat* out);
  virtual int fstatat(int directory, const char* name, struct stat* out);  ///< follows no link
  virtual int socket(int type);                   ///< of Unix, closed when a program is executed
  virtual int bind(int fd, const char* path);     ///< ENAMETOOLONG: no address can hold the path
  virtual int connect(int fd, const char* path);  ///< as bind
  virtual ssize_t send(int fd, const void* bytes, std::size_t size);  ///< never waits, no SIGPIPE

  /// Those of the kernel.
  static SystemCalls& real();
  /// Those that this process uses: real() until a test says otherwise.
  static SystemCalls& current();
  /// `calls` must live until others take their place.
  static void currentIs(SystemCalls& calls);
};

/// What files are given, whatever the umask.
struct DirectoryRights {
  uid_t owner = static_cast<uid_t>(-1);  ///< -1: as the process
  gid_t group = static_cast<gid_t>(-1);
  mode_t fileMode = 0644;
};

/// The storage in an existing directory, for its writer: who makes it must hold the directory's
/// lock, as it removes what a killed writer left half made. A forked child does not inherit what it
/// maps for writing. Raises std::system_error when the directory cannot be opened.
MPLS_EXPORT std::unique_ptr<Storage> directoryStorageFactory(const std::string& path,
                                                             const DirectoryRights& rights);
/// The same for reading alone.
MPLS_EXPORT std::unique_ptr<Storage> directoryStorageFactory(const std::string& path);

/// Turns the death of a process by SIGBUS, for touching a table's file that somebody cut short,
/// into damage that is reported: the mapping's bytes become zeros. Other SIGBUS take the course
/// that they had. Process-wide; for agents and tools, once at start, after other handlers of SIGBUS
/// are in place; further calls do nothing. What it installs takes no lock and is
/// async-signal-safe.
MPLS_EXPORT void busErrorsAreHandled();

}  // namespace Tarn
