/// The log by which a killed database server forgets nothing.
///
/// Each change is in the log before any reader hears of it. The log is rewritten as a snapshot, the
/// order of changes and the tombstones included, when it has grown to four times the size of one
/// (at twice, the rewriting costs a busy server a quarter of its time), and is replayed at start:
/// epoch and sequences go on. A record that was cut off by a kill at the end of the log was never
/// told to anybody, and is dropped.
///
/// The file is a line of text that says what it is, and entries (LogEntries.h) with checksums.
///
/// It protects against a killed process, not against a power failure: nothing waits for a disk.
///
/// When the log cannot be written (a full disk) the database goes on without: the file is removed,
/// so that a later start does not take old content for new, and a rewrite is tried again from time
/// to time.
///
/// Thread    that of the database.
#pragma once

#include <memory>
#include <string>
#include <string_view>
#include <system_error>

#include "platform/centrum/Database.h"

namespace Centrum {

/// Where the log is kept.
class MPLS_EXPORT LogFile {
 public:
  virtual ~LogFile();
  /// All of it; empty when there is none.
  virtual std::string content() = 0;
  /// Each raises std::system_error, which names the file, when that is not possible.
  virtual void append(std::string_view bytes) = 0;
  /// Replaces the content as a whole: a kill leaves the old or the new one.
  virtual void contentIs(std::string_view bytes) = 0;
  virtual void remove() = 0;
  /// Puts the content where people find it and nobody takes it for a log. Does what remove() does
  /// where there is no such place.
  virtual void setAside() { remove(); }
  virtual std::string name() const = 0;
};

/// A file, made readable and writable by its owner alone. New content is written beside it, under
/// its name with ".new", and takes its place; set aside, it has ".bad" behind its name. Raises
/// std::system_error, which names the path: EADDRINUSE when another server writes it (it holds
/// PATH.lock), EINVAL or EISDIR for what is no regular file.
MPLS_EXPORT std::unique_ptr<LogFile> fileLogFactory(const std::string& path);

class MPLS_EXPORT DatabaseLog {
 public:
  /// Rewritten from this size on at the earliest.
  static constexpr std::size_t leastSize = 16U << 20;
  /// And when it is this many times as large as its last snapshot.
  static constexpr std::size_t growth = 4;

  /// `file` may be null: then nothing is kept.
  explicit DatabaseLog(std::unique_ptr<LogFile> file);
  ~DatabaseLog();

  /// The database that the log describes; a new one, of epoch `fresh`, when there is no log or it
  /// is no log of ours, or damaged (it is then set aside, and notice() says so). Raises
  /// std::system_error when the file cannot be read.
  std::unique_ptr<Database> load(Epoch fresh);

  /// Each notes one change of the database, in order; commit() writes them. To be called after the
  /// change; removed() before it.
  void made(const Path& path);
  void removed(const Path& path);
  void applied(const Path& path, std::string_view records, bool renew);
  /// Writes what was noted, in one piece. Never raises: see problem().
  void commit(const Database& database);

  /// Bytes in the file.
  std::size_t size() const { return size_; }
  /// What keeps the log from being written at present; empty when nothing does.
  const std::string& problem() const { return problem_; }
  /// What load() found worth saying.
  const std::string& notice() const { return notice_; }

 private:
  /// Commits from one try to write a log again to the next; the first follows at once.
  static constexpr unsigned retryEvery = 1000;

  std::unique_ptr<Database> replay(std::string_view content);
  void setAside(const std::string& problem);
  void append();
  void rewrite(const Database& database);
  void failed(const std::system_error& error);

  const std::unique_ptr<LogFile> file_;
  std::string noted_;
  Sequence reached_ = 0;  // by what was noted
  bool written_ = false;  // the file holds everything up to the last commit
  std::size_t size_ = 0;
  std::size_t rewriteAt_ = 0;
  unsigned retryIn_ = 1;  // commits
  std::string problem_;
  std::string notice_;
};

}  // namespace Centrum
