/// A directory of tables, for a process that reads them.
///
/// Finds the writer by itself, whoever comes first: by inotify on the directory or its nearest
/// parent that exists, and by a check each second while there is no connection. While there is one
/// it checks each 5 seconds, in case a ring of the doorbell was lost.
///
/// Tables are read whether a writer lives or not: rows outlive it.
#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <string>

#include "platform/Export.h"
#include "platform/kiln/EventLoop.h"
#include "platform/tarn/TableReader.h"

namespace Tarn {

/// Who follows a table. Called in the loop's thread; may do anything, also destroy handles, its own
/// included, and the directory. What it throws is counted and reported by the loop, and the next
/// key follows.
class MPLS_EXPORT TableListener {
 public:
  virtual ~TableListener();
  /// Whether anybody wants to hear of keys just now.
  virtual bool isListening() const = 0;
  /// The row of `key` came, changed or went.
  virtual void changed(const std::byte* key) = 0;
};

/// A table that is read here. Goes with its handle, and with the directory: then get() is null.
class MPLS_EXPORT ReaderHandle {
 public:
  virtual ~ReaderHandle();
  virtual TableReader* get() const = 0;
};

/// Thread    that of the loop, which must outlive it. Directory and handles may go in any order.
class MPLS_EXPORT ReaderDirectory {
 public:
  /// What is known of the writer.
  struct Writer {
    bool isThere = false;  ///< connected, and its tables attached
    int pid = 0;           ///< of the last one known; 0: none
    std::string agent;
    double since = 0;         ///< of the loop's clock: when it came, or went; 0: neither yet
    std::uint64_t comes = 0;  ///< how often one came
  };

  /// That there is no directory, or no right to read it, is reported (once; what is needed and what
  /// was found) and tried again; so is that the kernel gives no inotify (a user may have 128 by
  /// default): then the checks do without. Raises std::system_error (EINVAL) for an empty path.
  ReaderDirectory(Kiln::EventLoop& loop, const std::string& path, Report report);
  ~ReaderDirectory();
  ReaderDirectory(const ReaderDirectory&) = delete;
  ReaderDirectory& operator=(const ReaderDirectory&) = delete;

  const std::string& path() const;
  const Writer& writer() const;
  /// Runs when the writer came (after its tables were looked through, everywhere) or went; never
  /// before the loop does, unless look() finds it. May do anything, also destroy the directory.
  void onWriterIs(std::function<void()> handler);

  /// Reads a table, from now on if it is there: it has been tried when this returns. `listener` may
  /// be null (lookups only); it must live as long as the handle. What is there already is told, if
  /// it listens, before this returns.
  std::unique_ptr<ReaderHandle> table(TableShape shape, TableListener* listener);
  /// Looks at once for what changed, without waiting for the doorbell, and for the writer if there
  /// is none: for readers without a running loop.
  void look();

 private:
  class State;
  std::shared_ptr<State> state_;
};

}  // namespace Tarn
