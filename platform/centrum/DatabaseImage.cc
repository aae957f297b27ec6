#include "platform/centrum/DatabaseImage.h"

#include <algorithm>

#include "platform/centrum/ApplyRecords.h"
#include "platform/centrum/CellWriter.h"
#include "platform/centrum/DeltaPieces.h"
#include "platform/forma/AttributeLog.h"
#include "platform/forma/Errors.h"

namespace Centrum {

using Forma::BytesIn;

namespace {

/// Operations of one entry of a snapshot, about.
constexpr std::size_t enough = 1U << 20;

void appendCells(std::string& out, CellStore& cells) {
  CellWriter writer(cells.root(), CellWriter::image);
  Sequence at = 0;
  const auto flush = [&] {
    if (writer.size() == 0) return;
    EntryWriter entry(out, EntryKind::cells);
    entry.add(at);
    entry.addRest(writer.finish());
  };
  Lookahead ahead(*cells.end().next);
  for (const OrderLink* link = cells.end().next; link != &cells.end(); link = link->next) {
    ahead.step();
    if (!link->isCell()) continue;
    const auto& cell = static_cast<const Cell&>(*link);
    if (cell.sequence != at || writer.size() >= enough) flush();
    at = cell.sequence;
    writer.write(cell);
  }
  flush();
}

template <class T>
T taken(BytesIn& in) {
  T field{};
  Forma::decode(in, field);
  return field;
}

}  // namespace

// ---- From a database ---------------------------------------------------------------------------

void DatabaseImage::append(std::string& out, const Database& database) {
  EntryWriter(out, EntryKind::started).add(database.epoch());
  database.eachPath([&out](Path& path) {
    EntryWriter(out, EntryKind::path)
        .add(path.fullName(), path.typeName(), path.schema(), path.sequence(),
             path.cells_->forgotten(), path.writer(), path.lastBatch());
    appendCells(out, *path.cells_);
  });
  EntryWriter(out, EntryKind::reached).add(database.sequence());
}

Sequence DatabaseImage::appendMade(std::string& out, const Path& path) {
  EntryWriter(out, EntryKind::made)
      .add(path.fullName(), path.typeName(), path.schema(), path.sequence());
  return path.sequence();
}

Sequence DatabaseImage::appendRemoved(std::string& out, const Path& path) {
  const Sequence at = path.database_.sequence() + 1;
  EntryWriter(out, EntryKind::removed).add(path.fullName(), at);
  return at;
}

Sequence DatabaseImage::appendApplied(std::string& out, const Path& path, std::string_view records,
                                      bool renew) {
  EntryWriter entry(out, EntryKind::applied);
  entry.add(path.fullName(), path.sequence(), path.writer(), path.lastBatch(), renew);
  entry.addRest(records);
  return path.sequence();
}

// ---- To a database -----------------------------------------------------------------------------

void DatabaseImage::take(std::string_view bytes) {
  BytesIn in(bytes);
  const auto kind = static_cast<EntryKind>(in.take(1));
  if ((kind == EntryKind::started) != (database_ == nullptr)) in.fail("one entry of the epoch");
  if (kind != EntryKind::path && kind != EntryKind::cells) path_ = nullptr;
  switch (kind) {
    case EntryKind::started:
      database_ = std::make_unique<Database>(taken<Epoch>(in));
      break;
    case EntryKind::made: {
      const std::string name(Forma::takeBytes(in));
      const std::string type(Forma::takeBytes(in));
      const auto schema = taken<std::uint64_t>(in);
      database_->make(name, type, schema, taken<Sequence>(in));
      break;
    }
    case EntryKind::removed: {
      Path& path = find(in);
      database_->remove(path, taken<Sequence>(in));
      break;
    }
    case EntryKind::applied:
      takeApplied(in);
      break;
    case EntryKind::reached:
      database_->sequence_ = std::max(database_->sequence_, taken<Sequence>(in));
      break;
    case EntryKind::path:
      path_ = &takePath(in);
      break;
    case EntryKind::cells: {
      if (path_ == nullptr) in.fail("an entry of the path before that of its cells");
      const auto at = taken<Sequence>(in);
      restoreRecords(*path_->cells_, in.rest(), at);
      break;
    }
    default:
      in.fail("the kind of an entry");
  }
}

void DatabaseImage::takeApplied(BytesIn& in) {
  Path& path = find(in);
  const auto at = taken<Sequence>(in);
  path.writer_ = taken<std::uint64_t>(in);
  path.lastBatch_ = taken<std::uint64_t>(in);
  const bool renew = taken<bool>(in);
  Forma::checkRecords(in.rest());
  if (path.apply(in.rest(), renew, at)) database_->happened(path, at);
}

/// A path of a snapshot; its entry in the directory above is among the cells of that.
Path& DatabaseImage::takePath(BytesIn& in) {
  const std::string name(Forma::takeBytes(in));
  const std::string type(Forma::takeBytes(in));
  const auto schema = taken<std::uint64_t>(in);
  Path* const there = database_->find(name);
  const std::size_t slash = name.rfind('/');
  Path* const parent = database_->find(slash == std::string::npos ? "" : name.substr(0, slash));
  if (parent == nullptr) in.fail("the directory of a path before it");
  Path& path = there != nullptr ? *there : database_->add(parent, name, type, schema);
  database_->happened(path, taken<Sequence>(in));
  path.cells_->forgottenIs(taken<Sequence>(in));
  path.writer_ = taken<std::uint64_t>(in);
  path.lastBatch_ = taken<std::uint64_t>(in);
  return path;
}

Path& DatabaseImage::find(BytesIn& in) {
  Path* const path = database_->find(Forma::takeBytes(in));
  if (path == nullptr) in.fail("a path that is there");
  return *path;
}

std::unique_ptr<Database> DatabaseImage::database() {
  if (database_ == nullptr) Forma::throwParseException("it has no epoch");
  database_->eachPath([](Path& path) {
    if (!path.cells_->complete()) Forma::throwParseException("it lacks cells that it names");
  });
  return std::move(database_);
}

}  // namespace Centrum
