#include "platform/tarn/TarnTable.h"

#include <cstring>
#include <utility>

#include "platform/forma/Errors.h"
#include "platform/forma/Schema.h"
#include "platform/forma/Trace.h"
#include "platform/tarn/TableCursor.h"

namespace Tarn {

namespace {

Forma::TraceHandle trace("TarnTable");

/// Of tables in memory: nobody else can have damaged them.
void traceDamage(const std::string& message) { FORMA_TRACE(trace, 0, message); }

}  // namespace

TarnTable::TarnTable(const RowKind& kind, std::string_view name)
    : kind_(kind), name_(name), view_(&nothing()) {}

TarnTable::~TarnTable() = default;

const TableView& TarnTable::nothing() {
  static const TableView* const view =
      new TableView;  // never destroyed: tables may outlive statics
  return *view;
}

TableShape TarnTable::shape() const {
  TableShape shape;
  shape.name = name_;
  shape.schemaText = kind_.schemaText();
  shape.schemaHash = Forma::schemaTextHash(shape.schemaText);
  shape.keyBytes = kind_.keyBytes;
  shape.rowBytes = kind_.rowBytes;
  shape.maxRowBytes = kind_.maxRowBytes;
  shape.geometry = geometry_;
  return shape;
}

std::size_t TarnTable::rows() const {
  if (const TableWriter* const here = presentWriter()) return here->rows();
  return static_cast<std::size_t>(view().state().rows.load(std::memory_order_relaxed));
}

void TarnTable::rowIsDamaged(const std::byte* key) const {
  constexpr char digits[] = "0123456789abcdef";
  std::string text = "damage: no sound row at key ";
  for (std::size_t i = 0; i < kind_.keyBytes; ++i) {
    const auto byte = static_cast<unsigned>(key[i]);
    text.append({digits[byte >> 4], digits[byte & 15]});
  }
  corruptionDetected(text);
}

// ---- Writing ------------------------------------------------------------------------------------

void TarnTable::mayWrite() const {
  if (mode_ == Mode::reader)
    Forma::throwAccessException(std::string(name_) + " is read-only here: attached as reader of " +
                                home_->path);
  if (mode_ == Mode::writer && isGone())
    Forma::throwAccessException(std::string(name_) + " cannot be written: the directory " +
                                home_->path + " was let go of");
}

TableWriter& TarnTable::madeWriter() {
  mayWrite();
  auto home = std::make_unique<Home>();
  home->storage = memoryStorageFactory("memory");
  home->memory = std::make_unique<TableWriter>(*home->storage, shape(), 1, traceDamage);
  moveTo(std::move(home));
  return *home_->memory;
}

// ---- Attaching ----------------------------------------------------------------------------------

const TableView& TarnTable::Home::rows() const {
  if (memory) return memory->view();
  if (written && written->get()) return written->get()->view();
  if (read && read->get()) return read->get()->told();
  return nothing();
}

void TarnTable::refuseAttached() const {
  if (mode_ != Mode::memory)
    Forma::throwAccessException(std::string(name_) + " is attached already: as " +
                                (mode_ == Mode::writer ? "writer" : "reader") + " of " +
                                home_->path);
}

std::unique_ptr<TarnTable::Home> TarnTable::homeIn(WriterDirectory& directory,
                                                   std::size_t initialRows) const {
  refuseAttached();
  if (initialRows == 0)
    Forma::throwRangeException("table " + std::string(name_) + " in " + directory.path() +
                               ": 0 initial rows not allowed");
  auto home = std::make_unique<Home>();
  home->mode = Mode::writer;
  home->path = directory.path();
  home->written = directory.table(shape(), initialRows);
  return home;
}

std::unique_ptr<TarnTable::Home> TarnTable::homeIn(ReaderDirectory& directory,
                                                   TableListener* listener) const {
  refuseAttached();
  auto home = std::make_unique<Home>();
  home->mode = Mode::reader;
  home->path = directory.path();
  home->read = directory.table(shape(), listener);
  return home;
}

std::unique_ptr<TarnTable::Home> TarnTable::moveTo(std::unique_ptr<Home> next) noexcept {
  mode_ = next ? next->mode : Mode::memory;
  view_ = next ? &next->rows() : &nothing();
  return std::exchange(home_, std::move(next));
}

void TarnTable::attachWriter(WriterDirectory& directory, std::size_t initialRows) {
  moveTo(homeIn(directory, initialRows));
}
void TarnTable::attachReader(ReaderDirectory& directory, TableListener* listener) {
  moveTo(homeIn(directory, listener));
}
void TarnTable::detach() {
  if (mode_ != Mode::memory) moveTo(nullptr);
}

KeyList TarnTable::difference(const Home* there) const {
  const TableView& before = there ? there->rows() : nothing();
  KeyList keys{kind_.keyBytes, {}};
  const auto add = [&](const TableView& in, const TableView& other, bool alsoDifferent) {
    TableCursor cursor(kind_.keyBytes);
    while (const std::byte* key = cursor.next(in)) {
      const Record one = kind_.find(in, key);
      const Record two = kind_.find(other, key);
      if (!one || (two && !alsoDifferent)) continue;
      if (two && two.bytes == one.bytes && std::memcmp(two.row, one.row, one.bytes) == 0) continue;
      keys.bytes.insert(keys.bytes.end(), key, key + kind_.keyBytes);
    }
  };
  add(view(), before, true);
  add(before, view(), false);
  return keys;
}

}  // namespace Tarn
