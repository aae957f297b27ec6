/// Writes cells as operations, in any order: enters and leaves children as it needs to.
///
/// Thread    that of the database. Nothing may change while it writes.
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "platform/centrum/Cell.h"
#include "platform/forma/AttributeLog.h"

namespace Centrum {

class CellWriter {
 public:
  /// For readers, a child is entered by create, with its arguments. In an image for the log, create
  /// says that the cell itself stands there; a child is entered by renew.
  enum Form { forReaders, image };

  CellWriter(const Cell& root, Form form) : form_(form), open_{&root} {}

  /// Writes one cell. For readers a tombstone below another one, or below what is a value now, is
  /// left out. Whether it was written.
  bool write(const Cell& cell);
  /// Bytes so far.
  std::size_t size() const { return finished_ ? 0 : records_.size(); }
  /// The operations, each child ended; what is written next begins anew. Valid until then.
  std::string_view finish();

 private:
  bool enterParent(const Cell& cell);
  void enter(Forma::LogOp op, const Cell& cell, std::string_view value);
  void leaveTo(std::size_t depth);

  Form form_;
  std::vector<const Cell*> open_;     // the root, then the children that the writer is in
  std::vector<const Cell*> missing_;  // those to enter, the innermost first
  std::string records_;
  bool finished_ = false;
};

}  // namespace Centrum
