/// The content of the central database: for each path, opaque bytes by member and key.
///
/// Every element (a Cell) carries the sequence of its last change, and the cells of a path form a
/// list in that order. A reader is a mark in that list (Cursor): what lies behind it is what the
/// reader lacks, each key once, with its newest value. So a slow reader costs no memory, a change
/// costs the same whatever the number of readers, and a snapshot is a walk from the head.
///
/// What was erased stays in the list as a tombstone, so that readers hear of it, up to a bound: a
/// cursor that falls behind what was forgotten is lost, and must begin a snapshot.
///
/// Directories are kept like entities: member 0 holds, for each entry, its name (as it is) as the
/// key and its type name (as it is) as the value.
///
/// Invariants
///   1. The sequences of a path's list never decrease from head to tail.
///   2. A child's cell stands before the live cells of its content.
///   3. The cells below a dead child are dead, and stand behind it: erasing a child erases its
///      content, with a tombstone for each cell, so that a child made again under its key differs
///      from the old one in nothing that is not in the list. A reader hears of the child alone.
///   4. Of a path, at most max(tombstonesKept, live cells) cells are dead.
///
/// Thread    one.
#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <string>
#include <string_view>
#include <unordered_map>

#include "platform/centrum/OrderList.h"
#include "platform/centrum/Protocol.h"

namespace Centrum {

class CellStore;
class Database;
class DeltaPieces;
class Path;

/// Where a reader stands in the list of a path. Must go before its path does.
class MPLS_EXPORT Cursor : private OrderLink {
 public:
  /// At the end: the reader has all there is.
  explicit Cursor(Path& path);
  ~Cursor();
  Cursor(const Cursor&) = delete;
  Cursor& operator=(const Cursor&) = delete;

  Path& path() const { return *path_; }
  /// To the head: the reader has nothing, or begins a snapshot. Ends being lost.
  void toHead();
  /// To where a reader stands that has everything up to `since`. False, and unmoved, when what was
  /// erased since may have been forgotten, or `since` is still to come. Costs a walk over what
  /// changed since.
  bool toSequence(Sequence since);
  bool atEnd() const;
  /// True when something was forgotten that the reader may not have heard of. A snapshot, too, can
  /// be overtaken so: what it stated was erased and forgotten. It must be begun again.
  bool lost() const;
  /// The sequence up to which the reader has everything that is in the list.
  Sequence sequence() const { return sequence_; }

 private:
  friend class Path;
  /// Behind `place`, before other cursors there: readers that are served in turn find the next
  /// cell beside them.
  void standBehind(OrderLink& place, Sequence sequence);

  Path* path_;
  Sequence sequence_ = 0;
  Sequence begun_ = 0;  // that of the path at toHead(): older tombstones tell the reader nothing
};

/// One path: a directory or an entity, with its content.
class MPLS_EXPORT Path {
 public:
  ~Path();
  Path(const Path&) = delete;
  Path& operator=(const Path&) = delete;

  std::uint32_t id() const { return id_; }
  const std::string& fullName() const { return fullName_; }
  const std::string& typeName() const { return typeName_; }
  std::uint64_t schema() const { return schema_; }
  bool isDirectory() const { return directory_; }
  Path* parent() const { return parent_; }

  std::size_t liveCells() const;
  std::size_t deadCells() const;
  /// Of keys and values that are live.
  std::size_t bytes() const;
  /// The newest change.
  Sequence sequence() const { return sequence_; }
  /// Counts the changes of the list.
  std::uint64_t version() const;

  /// The instance that wrote last, and its newest batch that is applied.
  std::uint64_t writer() const { return writer_; }
  std::uint64_t lastBatch() const { return lastBatch_; }

  /// The next piece of what the reader at `cursor` lacks, as one Delta message in one or more
  /// frames; moves the cursor. About `size` bytes, or one record if that is larger. `begin` marks
  /// the Delta as the first of a snapshot; `snapshot` leaves out tombstones from before the cursor
  /// went to the head (what the snapshot stated and was erased since is among the rest), and marks
  /// the Delta that reaches the end as the last. Readers at the same place share the bytes. A piece
  /// is whole: each child in it is ended. Null when there is nothing to say: the cursor is at the
  /// end, and neither `begin` nor the end of a snapshot is to be marked.
  std::shared_ptr<const std::string> nextDelta(Cursor& cursor, std::size_t size, bool snapshot,
                                               bool begin);

 private:
  friend class Cursor;
  friend class Database;
  friend class DatabaseImage;

  Path(Database& database, Path* parent, std::string fullName, std::string typeName,
       std::uint64_t schema);
  bool apply(std::string_view records, bool renew, Sequence at);

  Database& database_;
  Path* const parent_;
  const std::uint32_t id_;
  const std::string fullName_;
  const std::string typeName_;
  const std::uint64_t schema_;
  const bool directory_;
  Sequence sequence_;
  std::uint64_t writer_ = 0;
  std::uint64_t lastBatch_ = 0;
  std::unique_ptr<CellStore> cells_;
  std::unique_ptr<DeltaPieces> pieces_;
};

class MPLS_EXPORT Database {
 public:
  static constexpr std::size_t tombstonesKept = 4096;

  /// `sequence` counts from there; for tests near the edge.
  explicit Database(Epoch epoch, Sequence sequence = 0);
  ~Database();
  Database(const Database&) = delete;
  Database& operator=(const Database&) = delete;

  Epoch epoch() const { return epoch_; }
  Sequence sequence() const { return sequence_; }
  /// The root directory; its full name is empty.
  Path& root() const { return *root_; }
  /// By full name ("a/b", any stray slashes apart) or number; null when there is none.
  Path* find(std::string_view fullName) const;
  Path* find(std::uint32_t id) const;
  /// All of them, parents before children.
  void eachPath(const std::function<void(Path&)>& visit) const;

  /// Gets or creates a path, and the directories above it. What is made is one new sequence. Raises
  /// NameException, which names the path and what is there, when an entity of another type or
  /// schema is in the way, or a parent is no directory.
  Path& make(std::string_view fullName, std::string_view typeName, std::uint64_t schema);
  /// Takes a path away, and all below it, as one new sequence. Cursors on it must be gone. Raises
  /// NameException for the root.
  void remove(Path& path);

  /// Applies changes to a path as one new sequence; when nothing differs from what is there, the
  /// sequence stays. `records` must have passed Forma::checkRecords. `renew`: what is not stated is
  /// gone. Whether anything changed.
  bool apply(Path& path, std::string_view records, bool renew, std::uint64_t writer,
             std::uint64_t batch);

 private:
  friend class DatabaseImage;
  friend class Path;

  Path& make(std::string_view fullName, std::string_view typeName, std::uint64_t schema,
             Sequence at);
  Path& add(Path* parent, std::string fullName, std::string_view typeName, std::uint64_t schema);
  void remove(Path& path, Sequence at);
  void happened(Path& path, Sequence at);

  const Epoch epoch_;
  Sequence sequence_;
  std::uint32_t lastId_ = 0;
  std::map<std::string, std::unique_ptr<Path>, std::less<>> paths_;
  std::unordered_map<std::uint32_t, Path*> byId_;
  Path* root_;
};

}  // namespace Centrum
