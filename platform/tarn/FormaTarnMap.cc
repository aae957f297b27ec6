#include "platform/tarn/FormaTarnMap.h"

#include <exception>
#include <utility>
#include <vector>

#include "platform/forma/EntityType.h"

namespace FormaTarn {

using Tarn::KeyList;
using Tarn::TarnTable;

/// Hears for one table what its directory tells. Not while the table has not moved there: what is
/// there first is told by the one who attaches.
class EntityTable::Listener final : public Tarn::TableListener {
 public:
  explicit Listener(EntityTable& table) : table_(table) {}
  bool isListening() const override {
    return table_.table_.mode() == TarnTable::Mode::reader && table_.owner_.formaIsObserved();
  }
  void changed(const std::byte* key) override { table_.tell(key); }

 private:
  EntityTable& table_;
};

EntityTable::EntityTable(const Forma::Entity& owner, Tarn::TarnTable& table, Tell how)
    : owner_(owner), table_(table), tell_(how) {}

/// The listener must not go before what it listens to.
EntityTable::~EntityTable() { table_.detach(); }

Tarn::TableListener* EntityTable::listener() {
  if (!listener_) listener_ = std::make_unique<Listener>(*this);
  return listener_.get();
}

namespace {

/// A table on its way to another home.
struct Move {
  EntityTable& table;
  std::unique_ptr<TarnTable::Home> home;  // where it goes, then where it was
  KeyList changed;
};

std::vector<Move> tablesOf(Forma::Entity& entity) {
  std::vector<Move> all;
  for (const Forma::MemberType& member : entity.formaType().members)
    if (member.kind == Forma::MemberKind::table)
      all.push_back({static_cast<EntityTable&>(member.table(entity)), nullptr, {}});
  return all;
}

void tell(const Move& move, std::exception_ptr& first) {
  for (std::size_t i = 0; i < move.changed.size(); ++i) {
    try {
      move.table.tell(move.changed[i]);
    } catch (...) {
      if (!first) first = std::current_exception();
    }
  }
}

/// Moves all tables, then tells what that changed.
void finish(Forma::Entity& entity, std::vector<Move>& moves) {
  const Forma::Ptr<Forma::Entity> pinned(&entity);
  for (Move& move : moves) move.home = move.table.tarnTable().moveTo(std::move(move.home));
  if (entity.formaIsObserved())
    for (Move& move : moves) move.changed = move.table.tarnTable().difference(move.home.get());
  for (Move& move : moves) move.home.reset();
  std::exception_ptr first;
  for (const Move& move : moves) tell(move, first);
  if (first) std::rethrow_exception(first);
}

}  // namespace

void attachWriter(Forma::Entity& entity, Tarn::WriterDirectory& directory,
                  std::size_t initialRows) {
  attachWriter(entity, directory, [initialRows](std::string_view) { return initialRows; });
}

void attachWriter(Forma::Entity& entity, Tarn::WriterDirectory& directory,
                  const InitialRows& initialRows) {
  std::vector<Move> moves = tablesOf(entity);
  for (Move& move : moves) {
    const TarnTable& table = move.table.tarnTable();
    move.home = table.homeIn(directory, initialRows(table.name()));
  }
  finish(entity, moves);
}

void attachReader(Forma::Entity& entity, Tarn::ReaderDirectory& directory) {
  std::vector<Move> moves = tablesOf(entity);
  for (Move& move : moves)
    move.home = move.table.tarnTable().homeIn(directory, move.table.listener());
  finish(entity, moves);
}

void detach(Forma::Entity& entity) {
  std::vector<Move> moves;
  for (Move& move : tablesOf(entity))
    if (move.table.tarnTable().mode() != TarnTable::Mode::memory) moves.push_back(std::move(move));
  finish(entity, moves);
}

}  // namespace FormaTarn
