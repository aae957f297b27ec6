/// What the log and a database exchange: entries that describe the database as it is, or one change
/// of it, and the database that a series of entries describes.
///
/// Thread    that of the database.
#pragma once

#include <memory>
#include <string>
#include <string_view>

#include "platform/centrum/Database.h"
#include "platform/centrum/LogEntries.h"

namespace Centrum {

class DatabaseImage {
 public:
  /// Appends all that there is, order and tombstones included.
  static void append(std::string& out, const Database& database);
  /// Each appends one change: made and applied that of the path's sequence, removed the next one.
  /// Returns its sequence.
  static Sequence appendMade(std::string& out, const Path& path);
  static Sequence appendRemoved(std::string& out, const Path& path);
  static Sequence appendApplied(std::string& out, const Path& path, std::string_view records,
                                bool renew);

  /// Takes the next entry. Raises Forma exceptions when it does not follow from those before.
  void take(std::string_view entry);
  /// Whether the last entry belongs to a snapshot.
  bool inSnapshot() const { return path_ != nullptr; }
  /// What the entries describe. Raises ParseException when it is not whole.
  std::unique_ptr<Database> database();

 private:
  void takeApplied(Forma::BytesIn& in);
  Path& takePath(Forma::BytesIn& in);
  Path& find(Forma::BytesIn& in);

  std::unique_ptr<Database> database_;
  Path* path_ = nullptr;  // whose cells follow
};

}  // namespace Centrum
