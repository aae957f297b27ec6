/// Checks the bytes of one table, whatever its rows are: head, index, and every record.
///
/// Thread    any.
/// Trust     no byte is.
/// Writer    may live and write, or be dead. The table is mapped for reading; what changes while it
///           is looked at is looked at again.
/// Memory    a few bytes for each page of the index.
#pragma once

#include <cstdint>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "platform/tarn/TableView.h"
#include "tools/mplsctl/Progress.h"
#include "tools/mplsctl/TableFiles.h"
#include "tools/mplsctl/VerifyCheck.h"

namespace MplsCtl {

/// All that is wrong with a table, in the check "layout"; `progress` may be null.
Check tableLayoutCheck(const TableFile& table, Progress* progress = nullptr);

/// A walk through all words of a table's index.
class TableWalk {
 public:
  TableWalk(const Tarn::TableView& view, Check& check, Progress* progress)
      : view_(view), check_(check), progress_(progress) {}

  void run();
  /// Of what the walk met.
  std::uint64_t rows() const { return rows_; }
  std::uint64_t liveBytes() const { return liveBytes_; }

 private:
  /// What one page has.
  struct Page {
    std::uint64_t rows = 0;
    std::uint64_t liveBytes = 0;
    std::vector<std::string> findings;
  };

  void takePage();
  bool readPage();
  void checkEntries(const Tarn::TableView::Directory& directory, Tarn::Word entry);
  void checkTwin(const Tarn::TableView::Directory& directory, std::uint32_t page);
  void checkWords(const Tarn::SharedWord* words);
  std::string problemOf(const Tarn::SharedWord* words, std::uint32_t place, Tarn::Word word);
  std::string problemOf(const Tarn::SharedWord* words, std::uint32_t place, Tarn::Word word,
                        const Tarn::Record& record);
  bool isFound(const Tarn::SharedWord* words, std::uint32_t place, std::uint64_t hash,
               const Tarn::Record& record, std::string* why) const;
  bool isSplitting() const { return view_.state().intent.load(std::memory_order_acquire) != 0; }
  void wrong(std::string text) { page_.findings.push_back(std::move(text)); }

  const Tarn::TableView& view_;
  Check& check_;
  Progress* const progress_;                      // may be null
  std::uint64_t position_ = 0;                    // all smaller hashes are passed
  unsigned depth_ = 0;                            // of the page at hand
  std::map<std::uint32_t, std::uint64_t> pages_;  // those passed, and for which hashes
  Page page_;
  std::uint64_t rows_ = 0;
  std::uint64_t liveBytes_ = 0;
};

}  // namespace MplsCtl
