#include "tools/mplsctl/VerifyTable.h"

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <cstring>
#include <filesystem>
#include <system_error>
#include <thread>
#include <utility>

#include "platform/forma/Schema.h"
#include "platform/tarn/DirectoryStorage.h"

namespace MplsCtl {

namespace {

namespace Fs = std::filesystem;
using Tarn::Record;
using Tarn::SharedWord;
using Tarn::TableView;
using Tarn::Word;

constexpr auto acquire = std::memory_order_acquire;
constexpr std::uint32_t wordsAhead = 16;  // whose records are on their way from memory

constexpr int countLooks = 4;

void pause(int milliseconds) {
  std::this_thread::sleep_for(std::chrono::milliseconds(milliseconds));
}

std::uint64_t changesOf(const TableView& view) { return view.state().changes.load(acquire); }

std::string placeOf(Word word) {
  return "segment " + std::to_string(Tarn::segmentOf(word)) + " offset " +
         std::to_string(Tarn::offsetOf(word));
}

/// Whether the record is as it was written.
bool isWhole(const TableView& view, const Record& record) {
  Tarn::RecordHeader header;
  std::memcpy(&header, record.row - sizeof header, sizeof header);
  return Tarn::checkRecord(view.seed(), record.sequence, record.row, record.bytes) == header.check;
}

}  // namespace

// ---- Pages -------------------------------------------------------------------------------------

void TableWalk::run() {
  for (;;) {
    takePage();
    if (check_.result() == Check::Result::unreadable) return;
    const std::uint64_t next = Tarn::prefixOf(position_, depth_) + 1;
    if (depth_ == 0 || next >> depth_ != 0) return;
    position_ = next << (64 - depth_);
  }
}

/// What seems wrong while the writer writes is looked at again.
void TableWalk::takePage() {
  for (int look = 0; look <= secondLooks; ++look) {
    const std::uint64_t before = changesOf(view_);
    while (!readPage()) {
    }
    if (page_.findings.empty() || (changesOf(view_) == before && look != 0)) break;
    pause(1);
  }
  rows_ += page_.rows;
  if (progress_ != nullptr) progress_->add(page_.rows);
  liveBytes_ += page_.liveBytes;
  if (!view_.isReplaced())
    for (std::string& one : page_.findings) check_.damaged(std::move(one));
}

/// Whether it is still that of the position.
bool TableWalk::readPage() {
  page_ = {};
  const TableView::Directory directory = view_.directory();
  const SharedWord& at = directory.entries[Tarn::prefixOf(position_, directory.depth)];
  const Word entry = at.load(acquire);
  depth_ = std::min(Tarn::ownDepthOf(entry), directory.depth);
  checkEntries(directory, entry);
  if (const SharedWord* const words = view_.page(Tarn::pageOf(entry))) checkWords(words);
  return view_.directory().entries == directory.entries && at.load(acquire) == entry;
}

/// All entries of the page's hashes name it; but for a split that is under way, or that a writer
/// died in.
void TableWalk::checkEntries(const TableView::Directory& directory, Word entry) {
  const std::string text = "entry " + std::to_string(Tarn::prefixOf(position_, directory.depth)) +
                           " of the index's directory";
  if (Tarn::ownDepthOf(entry) > directory.depth)
    return wrong(text + " has the depth " + std::to_string(Tarn::ownDepthOf(entry)));
  const unsigned below = directory.depth - depth_;
  const std::uint64_t first = Tarn::prefixOf(position_, depth_) << below;
  for (std::uint64_t i = first; i < first + (std::uint64_t{1} << below); ++i) {
    const Word other = directory.entries[i].load(acquire);
    const bool isSame = Tarn::pageOf(other) == Tarn::pageOf(entry) &&
                        Tarn::ownDepthOf(other) == Tarn::ownDepthOf(entry);
    if (!isSame && !isSplitting())
      return wrong(text + " and entry " + std::to_string(i) + " contradict each other");
  }
  checkTwin(directory, Tarn::pageOf(entry));
}

/// A page that was passed may be in use again, for other hashes; if it is not still named there.
void TableWalk::checkTwin(const TableView::Directory& directory, std::uint32_t page) {
  const auto [passed, isNew] = pages_.try_emplace(page, position_);
  if (isNew || passed->second == position_) return;
  const SharedWord& there = directory.entries[Tarn::prefixOf(passed->second, directory.depth)];
  if (Tarn::pageOf(there.load(acquire)) != page) passed->second = position_;
  else if (!isSplitting()) wrong("page " + std::to_string(page) + " of the index is named twice");
}

// ---- Words -------------------------------------------------------------------------------------

void TableWalk::checkWords(const SharedWord* words) {
  for (std::uint32_t i = 0; i < view_.pageWords(); ++i) {
    if (i + wordsAhead < view_.pageWords())
      view_.prefetch(words[i + wordsAhead].load(std::memory_order_relaxed));
    Word word = words[i].load(acquire);
    std::string problem = problemOf(words, i, word);
    for (Word now = words[i].load(acquire); !problem.empty() && now != word;
         now = words[i].load(acquire)) {
      word = now;
      problem = problemOf(words, i, word);
    }
    if (!problem.empty()) wrong(placeOf(word) + ": " + problem);
  }
}

std::string TableWalk::problemOf(const SharedWord* words, std::uint32_t place, Word word) {
  if (word == 0 || word == Tarn::deletedWord) return {};
  if (!Tarn::namesRecord(word)) return "a word of the index names no record";
  if (!view_.haveSegment(word)) return "the segment is missing, or cut short";
  const Record record = view_.uncheckedRecord(word);
  if (!record) return "the row does not lie in its segment";
  if (!isWhole(view_, record)) return "the checksum of the row is wrong";
  return problemOf(words, place, word, record);
}

/// Of a record that is whole.
std::string TableWalk::problemOf(const SharedWord* words, std::uint32_t place, Word word,
                                 const Record& record) {
  const Tarn::HeadFixed& fixed = view_.fixed();
  const bool isRowSize = fixed.rowBytes != 0
                             ? record.bytes == fixed.rowBytes
                             : record.bytes >= fixed.keyBytes && record.bytes <= fixed.maxRowBytes;
  if (!isRowSize) return "a row of " + std::to_string(record.bytes) + " bytes";
  if (record.sequence >= view_.state().sequenceLimit.load(acquire))
    return "the row has a sequence that was never given";
  if (Tarn::segmentOf(word) >= view_.state().nextSegment.load(acquire))
    return "the segment has a number that was never given";
  const std::uint64_t hash = view_.hash(record.row, fixed.keyBytes);
  if (Tarn::tagsDiffer(word, hash)) return "the index has another hash than the row's key";
  if (Tarn::prefixOf(hash, depth_) != Tarn::prefixOf(position_, depth_))
    return isSplitting() ? "" : "the row stands in a page of other hashes";
  std::string why;
  if (!isFound(words, place, hash, record, &why)) return why;
  if (hash < position_) return {};  // of a page that is being split: counted before
  ++page_.rows;
  page_.liveBytes += Tarn::recordBytes(record.bytes);
  return {};
}

/// Whether who looks for the key ends at that word.
bool TableWalk::isFound(const SharedWord* words, std::uint32_t place, std::uint64_t hash,
                        const Record& record, std::string* why) const {
  const std::uint32_t mask = view_.pageWords() - 1;
  std::uint32_t line = Tarn::lineOf(hash, depth_, view_.pageShift());
  for (std::uint32_t left = view_.pageWords(); left != 0; left -= 8, line = (line + 8) & mask) {
    bool hasEnd = false;
    for (std::uint32_t at = line; at < line + 8; ++at) {
      if (at == place) return true;
      const Word word = words[at].load(acquire);
      hasEnd = hasEnd || word == 0;
      if (Tarn::tagsDiffer(word, hash) || !Tarn::namesRecord(word)) continue;
      const Record other = view_.uncheckedRecord(word);
      if (!other || other.bytes < view_.fixed().keyBytes || !isWhole(view_, other)) continue;
      if (std::memcmp(other.row, record.row, view_.fixed().keyBytes) == 0) {
        *why = "a second row of the key at " + placeOf(word);
        return false;
      }
    }
    if (hasEnd) break;
  }
  *why = "the row stands where its key is not looked for";
  return false;
}

// ---- Table -------------------------------------------------------------------------------------

namespace {

/// A table as it stands at one time.
struct Opened {
  std::unique_ptr<Tarn::Storage> storage;
  TableView view;
};

Tarn::TableShape shapeOf(const Tarn::HeadFixed& fixed) {
  Tarn::TableShape shape;
  shape.schemaHash = fixed.schemaHash;
  shape.keyBytes = fixed.keyBytes;
  shape.rowBytes = fixed.rowBytes;
  shape.maxRowBytes = fixed.maxRowBytes;
  return shape;
}

/// Why a file of the table may not be read; empty when all may. One is enough to tell.
std::string closedFile(const TableFile& table) {
  std::error_code error;
  for (Fs::directory_iterator at(table.directory, error), end; !error && at != end;
       at.increment(error)) {
    if (!at->path().filename().string().starts_with(table.name + ".")) continue;
    if (::faccessat(AT_FDCWD, at->path().c_str(), R_OK, AT_EACCESS) != 0 && errno == EACCES)
      return unreadableText(at->path(), EACCES);
  }
  return {};
}

/// Opens the table; what is wrong with the head goes to the check, and what the view complains of
/// later, too.
std::unique_ptr<Opened> opened(const TableFile& table, Check& check) {
  if (std::string closed = closedFile(table); !closed.empty()) {
    check.unreadable(std::move(closed));
    return nullptr;
  }
  auto all = std::make_unique<Opened>();
  all->storage = Tarn::directoryStorageFactory(table.directory);
  Tarn::Opened head = all->storage->open(Tarn::headName(table.name), Tarn::Access::read);
  if (!head.mapping) {
    check.unreadable(head.text);
    return nullptr;
  }
  Tarn::HeadFixed fixed{};
  const auto* const bytes = reinterpret_cast<const char*>(head.mapping.data());
  std::memcpy(&fixed, bytes, std::min(sizeof fixed, head.mapping.size));
  const std::string problem = Tarn::headProblem({bytes, head.mapping.size}, shapeOf(fixed));
  if (!problem.empty()) {
    check.damaged(problem);
    return nullptr;
  }
  const std::string_view schema(
      fixed.schemaText, std::min<std::size_t>(fixed.schemaTextBytes, Tarn::schemaTextLimit));
  if (schema.size() < Tarn::schemaTextLimit && Forma::schemaTextHash(schema) != fixed.schemaHash)
    check.damaged("the schema hash is not that of the schema text");
  all->view.headIs(*all->storage, Tarn::Access::read, std::move(head.mapping),
                   [&check](const std::string& text) { check.damaged(text); });
  return all;
}

/// The writer counts at the end of each of its turns, and when it closes the table. One that was
/// killed did not.
bool areCountsDue(const TableView& view, const TableFile& table) {
  bool isThere = false;
  eachTable(table.directory, [&](const TableFile& now) {
    if (now.directory == table.directory) isThere = now.writer.isThere;
  });
  return isThere || view.state().writerPid.load(acquire) == 0;
}

std::string comparedCounts(const TableView& view, const TableWalk& walk) {
  const std::uint64_t rows = view.state().rows.load(acquire);
  const std::uint64_t bytes = view.state().liveBytes.load(acquire);
  if (rows != walk.rows())
    return "the head counts " + std::to_string(rows) + " rows, the index has " +
           std::to_string(walk.rows());
  if (bytes != walk.liveBytes())
    return "the head counts " + std::to_string(bytes) + " bytes of rows, the index names " +
           std::to_string(walk.liveBytes());
  return {};
}

/// The rows that were met; none when another generation took the place meanwhile. Counts that
/// differ while nothing changed from one look to the next are wrong.
std::optional<std::uint64_t> walked(const TableFile& table, const TableView& view, Check& check,
                                    Progress* progress) {
  std::uint64_t rows = 0;
  std::optional<Word> before;
  for (int look = 0; look < countLooks; ++look) {
    const Word changes = changesOf(view);
    if (progress != nullptr)
      progress->begin("layout of " + check.place(), view.state().rows.load(acquire));
    TableWalk walk(view, check, progress);
    walk.run();
    if (view.isReplaced()) return std::nullopt;
    rows = walk.rows();
    if (check.result() != Check::Result::pass) break;
    std::string problem = comparedCounts(view, walk);
    if (problem.empty() || !areCountsDue(view, table)) break;
    if (before == changes && changesOf(view) == changes) check.damaged(std::move(problem));
    before = changes;
    pause(pauseTime);
  }
  return rows;
}

}  // namespace

Check tableLayoutCheck(const TableFile& table, Progress* progress) {
  constexpr int generations = 8;  // that may come while we look
  Tarn::busErrorsAreHandled();
  for (int attempt = 0;; ++attempt) {
    Check check("layout", table.directory + "/" + table.name);
    if (!table.problem.empty()) {
      if (exitCodeOf(table) == Agents::exitFault) check.damaged(table.problem);
      else check.unreadable(table.problem);
      return check;
    }
    std::unique_ptr<Opened> all;
    try {
      all = opened(table, check);
    } catch (const std::system_error& problem) {
      check.unreadable(problem.what());
    }
    if (!all) return check;
    const std::optional<std::uint64_t> rows = walked(table, all->view, check, progress);
    if (!rows && attempt < generations) continue;
    if (all->view.isDamaged()) check.damaged("a file was cut short");
    check.summaryIs(std::to_string(rows.value_or(0)) + " rows");
    return check;
  }
}

}  // namespace MplsCtl
