#include "faults/TarnRows.h"

#include <cstdio>
#include <cstring>
#include <new>

namespace TarnFaults {

namespace {

constexpr std::size_t fixedWords = 6;
constexpr std::size_t mostWords = 40;

std::size_t wordsOf(Version version, bool fixedSize) {
  return fixedSize ? fixedWords : 2 + version * 7 % (mostWords - 1);
}

std::uint64_t wordAt(Key key, Version version, std::size_t i) {
  return i == 0 ? key : i == 1 ? version : Tarn::fold(key + i, version ^ 0x9e3779b97f4a7c15U);
}

/// The version of the row that a write leaves.
constexpr Version rowAfter(Version write) { return isPut(write) ? write : 0; }

constexpr auto acquire = std::memory_order_acquire;
constexpr auto release = std::memory_order_release;

}  // namespace

Tarn::TableShape shapeOf(const Kind& kind) {
  Tarn::TableShape shape{"rows", "key version words", 0x5eed, sizeof(Key), 0, 0, kind.geometry};
  if (kind.fixedSize) shape.rowBytes = fixedWords * sizeof(std::uint64_t);
  shape.maxRowBytes = (kind.fixedSize ? fixedWords : mostWords) * sizeof(std::uint64_t);
  return shape;
}

Row::Row(Key key, Version version, bool fixedSize) : words_(wordsOf(version, fixedSize)) {
  for (std::size_t i = 0; i < words_.size(); ++i) words_[i] = wordAt(key, version, i);
}

Version versionOf(const Tarn::Record& row, Key key, bool fixedSize) {
  if (!row) return 0;
  if (row.bytes < 2 * sizeof(std::uint64_t)) return notWhole;
  const Version version = Tarn::load64(row.row + sizeof key);
  if (!isPut(version) || row.bytes != wordsOf(version, fixedSize) * sizeof(std::uint64_t))
    return notWhole;
  for (std::size_t i = 0; i < row.bytes / sizeof(std::uint64_t); ++i)
    if (Tarn::load64(row.row + i * sizeof(std::uint64_t)) != wordAt(key, version, i))
      return notWhole;
  return version;
}

// ---- Ledger -------------------------------------------------------------------------------------

Ledger::Ledger(std::size_t keys) : bytes_(sizeof(Common) + keys * sizeof(Entry)) {
  void* at = ::mmap(nullptr, bytes_, PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0);
  if (at == MAP_FAILED) throw std::bad_alloc();
  common_ = static_cast<Common*>(at);  // zeros are what all of it begins with
  entries_ = {reinterpret_cast<Entry*>(common_ + 1), keys};
}

Ledger::~Ledger() { ::munmap(common_, bytes_); }

void Ledger::problemIs(const std::string& text) const {
  if (common_->hasProblem.load(acquire)) return;
  std::snprintf(common_->problem, sizeof common_->problem, "%s", text.c_str());
  common_->hasProblem.store(true, release);
}

Version Ledger::begin(Key key, bool put) const {
  const Version version = common_->last.load(acquire) / 2 * 2 + 2 + (put ? 1 : 0);
  common_->last.store(version, release);
  if (!put) entries_[key].removal.store(version, release);
  entries_[key].begun.store(version, release);
  return version;
}

void Ledger::end(Key key) const {
  entries_[key].done.store(entries_[key].begun.load(acquire), release);
  common_->writes.store(common_->writes.load(acquire) + 1, release);
}

void Ledger::put(Tarn::TableWriter& writer, Key key, bool fixedSize) const {
  const Row row(key, begin(key, true), fixedSize);
  writer.put(row.bytes(), row.size());
  end(key);
}

void Ledger::remove(Tarn::TableWriter& writer, Key key) const {
  const bool was = isPut(entries_[key].done.load(acquire));
  begin(key, false);
  if (writer.remove(bytesOf(key)) != was)
    problemIs("key " + std::to_string(key) + (was ? " was not there" : " was there") +
              " when it was removed");
  end(key);
}

std::string Ledger::compare(Tarn::TableWriter& writer, bool fixedSize) const {
  std::size_t rows = 0;
  for (Key key = 0; key < keys(); ++key) {
    const Version found = versionIn(writer.view(), key, fixedSize);
    const Version done = entries_[key].done.load(acquire);
    const Version begun = entries_[key].begun.load(acquire);
    rows += found != 0 ? 1 : 0;
    if (found != rowAfter(begun) && found != rowAfter(done))
      return "adopted: " + describe(key, done, found, begun);
  }
  if (writer.rows() != rows)
    return "adopted " + std::to_string(writer.rows()) + " rows, and finds " + std::to_string(rows);
  if (const std::size_t dropped = writer.verify(); dropped != 0)
    return std::to_string(dropped) + " rows were damaged or there twice";
  return {};
}

std::string Ledger::settle(Tarn::TableWriter& writer, bool fixedSize) const {
  if (std::string problem = compare(writer, fixedSize); !problem.empty()) return problem;
  for (Key key = 0; key < keys(); ++key) {
    Entry& entry = entries_[key];
    const Version done = entry.done.load(acquire);
    const Version begun = entry.begun.load(acquire);
    if (begun == done) continue;
    if (versionIn(writer.view(), key, fixedSize) == rowAfter(begun)) {
      entry.done.store(begun, release);
    } else {
      entry.begun.store(done, release);
      if (entry.removal.load(acquire) > done) entry.removal.store(done, release);
    }
  }
  common_->adoptions.fetch_add(1);
  return {};
}

void Ledger::copyFrom(const Ledger& other) const {
  std::memcpy(static_cast<void*>(common_), other.common_, bytes_);
}

std::string Ledger::describe(Key key, Version before, Version found, Version begun) {
  return "key " + std::to_string(key) + ": found " +
         (found == notWhole ? std::string("a torn row") : std::to_string(found)) + ", last write " +
         std::to_string(before) + ", begun " + std::to_string(begun);
}

}  // namespace TarnFaults
