/// A directory of tables, for the one process that writes them.
///
///   writer.lock    held (POSIX record lock) by the writer; holds its PID and name as text
///   writer.sock    where readers connect to be told of changes
///   NAME.*         the files of each table (Format.h)
///
///   writer.info    PID, name and start of the writer as text, for readers
///
/// Doorbell  a stream socket for each reader. At the end of a loop turn in which a table changed
///           the writer sends one byte to each reader that has answered its last one (by one byte,
///           after which it looks once more); to one that has not it sends nothing, so a stopped
///           reader costs nothing. The end of the stream tells either side that the other went.
/// Removal   once a second it looks whether directory, lock and socket are there, and makes again
///           what others took away. If another process writes in their place by then this one has
///           lost: that is reported, and no handle has a table any more.
#pragma once

#include <sys/types.h>

#include <cstddef>
#include <memory>
#include <string>

#include "platform/Export.h"
#include "platform/kiln/EventLoop.h"
#include "platform/tarn/TableWriter.h"

namespace Tarn {

/// A table that is written here. Goes with its handle, and with the directory: then get() is null.
/// Its rows stay.
class MPLS_EXPORT WriterHandle {
 public:
  virtual ~WriterHandle();
  virtual TableWriter* get() const = 0;
};

/// Thread    that of the loop, which must outlive it. Directory and handles may go in any order.
/// Fork      a child holds nothing of it: its calls there do nothing, or raise.
class MPLS_EXPORT WriterDirectory {
 public:
  struct Options {
    std::string path;   ///< made with the directories above it when missing
    std::string owner;  ///< name or number of a user; empty: that of the process
    std::string group;  ///< name or number of a group; empty: that of the process
    /// Of the directory. Who may read it may read its tables and connect; nobody else may write.
    mode_t mode = 0755;
    std::string agent;  ///< who writes, for readers and errors: "lfib-writer"
  };

  /// Takes the lock. Raises std::system_error, which names path, user and mode as far as they
  /// matter: EADDRINUSE when another process (its PID, name and start are given) or this one writes
  /// there; nothing is changed then. `report` hears of what goes wrong later, each once.
  WriterDirectory(Kiln::EventLoop& loop, const Options& options, Report report);
  ~WriterDirectory();
  WriterDirectory(const WriterDirectory&) = delete;
  WriterDirectory& operator=(const WriterDirectory&) = delete;

  const std::string& path() const;
  /// Adopts or makes a table; raises what TableWriter raises, and std::system_error: EEXIST when it
  /// is open here already, EADDRINUSE after another took the directory.
  std::unique_ptr<WriterHandle> table(TableShape shape, std::size_t initialRows);
  /// Takes readers and their answers, and rings them for what changed, as a turn and its end do:
  /// for writers without a running loop. What a handler for the end of a turn writes is told at the
  /// end of the next one, unless it calls this.
  void ring();
  std::size_t readers() const;

 private:
  class State;
  std::shared_ptr<State> state_;
};

}  // namespace Tarn
