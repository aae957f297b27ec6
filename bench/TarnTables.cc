#include "bench/TarnTables.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "bench/TableRun.h"
#include "platform/tarn/DirectoryStorage.h"
#include "platform/tarn/TableReader.h"
#include "platform/tarn/TableWriter.h"

namespace Bench {

Tarn::TableShape tarnShape(std::size_t rowBytes) {
  Tarn::TableShape shape;
  shape.name = "rows";
  shape.schemaText = "key U64, " + std::to_string(rowBytes - sizeof(RowKey)) + " bytes";
  shape.schemaHash = rowBytes;
  shape.keyBytes = sizeof(RowKey);
  shape.rowBytes = shape.maxRowBytes = static_cast<std::uint32_t>(rowBytes);
  return shape;
}

void failOnReport(const std::string& message) {
  std::fprintf(stderr, "%s\n", message.c_str());
  std::_Exit(1);
}

namespace {

template <class R>
struct TarnTable {
  using Row = R;
  static constexpr bool isPrivate = false;

  class Writer {
   public:
    Writer(const std::string& folder, std::uint32_t /*rows*/)
        : storage_(Tarn::directoryStorageFactory(folder, {})),
          writer_(*storage_, tarnShape(sizeof(Row)), 1, failOnReport) {}
    void put(const Row& row) {
      std::memcpy(writer_.room(sizeof row), &row, sizeof row);
      writer_.commit();
      if (++changes_ % tarnChangesPerTurn == 0) writer_.turn();
    }
    void expect(const RowKey* keys) {
      writer_.expect(reinterpret_cast<const std::byte*>(keys), batchRows);
    }
    void erase(RowKey key) {
      writer_.remove(reinterpret_cast<const std::byte*>(&key));
      if (++changes_ % tarnChangesPerTurn == 0) writer_.turn();
    }
    void flush() { writer_.turn(); }

   private:
    std::unique_ptr<Tarn::Storage> storage_;
    Tarn::TableWriter writer_;
    std::size_t changes_ = 0;
  };

  class Reader {
   public:
    Reader(const std::string& folder, std::uint32_t /*rows*/)
        : storage_(Tarn::directoryStorageFactory(folder)),
          reader_(*storage_, tarnShape(sizeof(Row)), Tarn::TableReader::Follow::no, failOnReport),
          view_(reader_.view()) {
      begin();
    }
    void begin() { reader_.refresh(Tarn::TableReader::Look::counted, nullptr); }
    bool get(RowKey key, Row& row) const {
      return copy(
          view_.template find<sizeof key, sizeof(Row)>(reinterpret_cast<const std::byte*>(&key)),
          row);
    }
    std::size_t getBatch(const RowKey* keys, std::array<Row, batchRows>& rows) const {
      std::array<Tarn::Record, batchRows> found;
      view_.template findBatch<sizeof *keys, sizeof(Row)>(reinterpret_cast<const std::byte*>(keys),
                                                          batchRows, found.data());
      std::size_t count = 0;
      for (std::size_t i = 0; i < batchRows; ++i) count += copy(found[i], rows[i]);
      return count;
    }
    template <class Each>
    void forEach(Each each) const {
      // A page with a depth of its own is named by several entries, one behind the other.
      const auto directory = view_.directory();
      for (std::size_t i = 0; i < directory.size();) {
        const Tarn::Word entry = directory.entries[i].load(std::memory_order_acquire);
        const Tarn::SharedWord* const words = view_.page(Tarn::pageOf(entry));
        for (std::size_t w = 0; w < view_.pageWords(); ++w) {
          const Tarn::Word word = words[w].load(std::memory_order_acquire);
          Row row;
          if (Tarn::namesRecord(word) && copy(view_.record(word), row)) each(row);
        }
        i += std::size_t{1} << (directory.depth - Tarn::ownDepthOf(entry));
      }
    }

   private:
    static bool copy(const Tarn::Record& found, Row& row) {
      if (!found) return false;
      std::memcpy(&row, found.row, sizeof row);
      return true;
    }

    std::unique_ptr<Tarn::Storage> storage_;
    Tarn::TableReader reader_;
    const Tarn::TableView& view_;
  };
};

}  // namespace

template <std::size_t rowBytes>
TableKind tarnTable() {
  return tableKind<TarnTable<TableRow<rowBytes>>>("Tarn");
}
template TableKind tarnTable<routeBytes>();
template TableKind tarnTable<setBytes>();

}  // namespace Bench
