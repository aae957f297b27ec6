/// A table that is read, and who is told of its changes. Private to platform/tarn.
///
/// Thread    that of the loop.
#pragma once

#include <memory>

#include "platform/kiln/EventLoop.h"
#include "platform/tarn/ReaderDirectory.h"
#include "platform/tarn/Stamp.h"
#include "platform/tarn/TableReader.h"

namespace Tarn {

class FollowedTable : public std::enable_shared_from_this<FollowedTable> {
 public:
  FollowedTable(Kiln::EventLoop& loop, std::unique_ptr<TableReader> reader,
                TableListener* listener);

  /// Null once it was closed.
  TableReader* reader() const { return reader_.get(); }
  bool isAttached() const { return reader_ != nullptr && reader_->isAttached(); }
  /// Whether it changed since the last look.
  bool isChanged() const { return isAttached() && Stamp::of(reader_->view()) != seen_; }
  /// Looks for changes and tells the listener key by key, what it throws the loop. Whoever is told
  /// may do anything, also close this or look again. Does nothing inside a look of the same table
  /// that has told nothing yet.
  void look(TableReader::Look how);
  /// Nobody is told from now on.
  void close();

 private:
  static constexpr std::size_t ahead = 8;  // keys whose rows are on their way from memory

  bool isListening() const;
  void tell(const KeyList& keys);

  Kiln::EventLoop& loop_;
  std::shared_ptr<TableReader> reader_;
  TableListener* listener_;
  Stamp seen_;
  bool isLooking_ = false;
};

}  // namespace Tarn
