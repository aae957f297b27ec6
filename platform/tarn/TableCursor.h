/// A walk over the keys of a table that may change meanwhile, in any way.
///
/// It goes through the index in the order of the keys' hashes, one page at a time, and passes each
/// range of hashes once: so it ends, and meets each key that is there from its start to its end
/// once, whether pages split, rows are moved or the whole table is renewed. Keys that come or go
/// meanwhile it may meet or not; who asks the table for the row sees how it is now.
///
/// Thread    that of the view.
/// Memory    the keys of one page.
#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

#include "platform/Export.h"
#include "platform/tarn/TableView.h"

namespace Tarn {

class MPLS_EXPORT TableCursor {
 public:
  explicit TableCursor(std::size_t keyBytes) : keyBytes_(keyBytes) {}

  /// The next key, valid until the next call; null at the end. `view` may be another one than
  /// before, of another generation or another table altogether.
  const std::byte* next(const TableView& view) {
    while (at_ == keys_.size())
      if (!nextPage(view)) return nullptr;
    at_ += keyBytes_;
    return keys_.data() + (at_ - keyBytes_);
  }

 private:
  /// What was walked before another table took the place: keys whose hashes under `seed` lie below
  /// `position` have been met.
  struct Passed {
    std::uint64_t seed;
    std::uint64_t position;
  };

  bool nextPage(const TableView& view);
  void follow(const TableView& view);
  unsigned takeLatestPage(const TableView& view);
  unsigned takePage(const TableView& view);
  void takeKeys(const TableView& view, const SharedWord* words, unsigned depth);
  void takeKey(const TableView& view, const SharedWord& at, unsigned depth);
  bool wasPassed(const std::byte* key) const;

  std::size_t keyBytes_;
  std::vector<std::byte> keys_;  // of the page
  std::size_t at_ = 0;
  std::uint64_t position_ = 0;  // all keys with smaller hashes are passed
  bool ended_ = false;          // and so are all others
  bool begun_ = false;
  bool missed_ = false;  // something in the page could not be read
  std::uint64_t generation_ = 0;
  std::uint64_t seed_ = 0;
  std::vector<Passed> passed_;
};

}  // namespace Tarn
