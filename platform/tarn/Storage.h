/// Where the files of a table live: a directory, or the memory of one process.
///
/// Thread    one; mappings may be read by any.
#pragma once

#include <cstddef>
#include <functional>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "platform/Export.h"

namespace Tarn {

/// The bytes of one file, mapped. Goes when the last copy does; the file may be gone before.
struct Mapping {
  std::shared_ptr<std::byte> bytes;  ///< to be written by the writer alone
  std::size_t size = 0;

  explicit operator bool() const { return bytes != nullptr; }
  std::byte* data() const { return bytes.get(); }
};

/// A mapping, or why there is none.
struct Opened {
  Mapping mapping;
  /// errno; ENOENT when there is no such file, EBADMSG when it is empty or no regular file, EFBIG
  /// when it is too large to be part of a table, ELOOP when it is a symbolic link.
  int error = 0;
  std::string text;  ///< what failed, on which file, what is needed and what was found; "" if none
};

enum class Access { read, write };

class MPLS_EXPORT Storage {
 public:
  virtual ~Storage();

  /// How errors call it: the path of the directory.
  virtual std::string name() const = 0;
  /// Whether other processes may see it: then a forked child has no part in it.
  virtual bool isShared() const { return true; }
  /// Makes a file of `size` bytes, all of them reserved, and maps it for writing. `fill` writes
  /// what must stand in it (the rest is zero) before the file appears under its name, in place of
  /// one of that name. Raises std::system_error, and leaves everything as it was, when that fails.
  virtual Mapping create(std::string_view file, std::size_t size,
                         const std::function<void(std::byte*)>& fill) = 0;
  /// Maps a whole file. Raises nothing but std::bad_alloc.
  virtual Opened open(std::string_view file, Access access) const = 0;
  /// Removes a file; does nothing when there is none. Mappings stay. Raises std::system_error when
  /// the right to do so is missing.
  virtual void remove(std::string_view file) = 0;
  /// Whether `mapping` is that of the file of that name: false once somebody took the file away, or
  /// put another in its place. True when that cannot be told.
  virtual bool isThere(std::string_view file, const Mapping& mapping) const = 0;
  /// Whether the memory behind a mapping went (a file cut short by others), and its bytes read as
  /// zero. Is noticed when they are touched, in processes that have called busErrorsAreHandled().
  virtual bool isDamaged(const Mapping& mapping) const = 0;
  /// The names of all files, in no order; names that begin with '.', links and folders are not
  /// among them. Raises std::system_error when they cannot be read.
  virtual std::vector<std::string> files() const = 0;
  /// Moves the files of such names, as far as there are such, into a new folder "aside.N" and
  /// returns its path. Raises std::system_error when the kernel refuses; some may be moved then.
  virtual std::string moveAside(const std::vector<std::string>& names) = 0;
};

/// Files in memory that only this process has. A mapping for reading is that for writing.
MPLS_EXPORT std::unique_ptr<Storage> memoryStorageFactory(std::string name);

}  // namespace Tarn
