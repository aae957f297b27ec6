#include <lmdb.h>

#include <cstring>
#include <stdexcept>
#include <string>

#include "bench/TableRun.h"

namespace Bench {
namespace {

constexpr std::size_t changesPerTransaction = 100;

void demand(int result) {
  if (result != MDB_SUCCESS) throw std::runtime_error(std::string("LMDB: ") + mdb_strerror(result));
}

/// One table of integer keys, the cheapest kind.
class Database {
 public:
  Database(const std::string& folder, unsigned mode) {
    constexpr std::size_t mapBytes = std::size_t{4} << 30;
    demand(mdb_env_create(&environment_));
    demand(mdb_env_set_mapsize(environment_, mapBytes));
    demand(mdb_env_open(environment_, (folder + "/lmdb").c_str(),
                        MDB_NOSUBDIR | MDB_NOSYNC | MDB_WRITEMAP | mode, 0600));
    MDB_txn* const transaction = begin(mode);
    demand(mdb_dbi_open(transaction, nullptr, MDB_INTEGERKEY | (mode == 0 ? MDB_CREATE : 0U),
                        &table_));
    demand(mdb_txn_commit(transaction));
  }
  ~Database() { mdb_env_close(environment_); }
  Database(const Database&) = delete;
  Database& operator=(const Database&) = delete;

  MDB_txn* begin(unsigned mode) const {
    MDB_txn* transaction;
    demand(mdb_txn_begin(environment_, nullptr, mode, &transaction));
    return transaction;
  }
  MDB_dbi table() const { return table_; }

 private:
  MDB_env* environment_ = nullptr;
  MDB_dbi table_ = 0;
};

class Transactions {
 public:
  explicit Transactions(const std::string& folder) : database_(folder, 0) {}
  ~Transactions() { flush(); }
  Transactions(const Transactions&) = delete;
  Transactions& operator=(const Transactions&) = delete;

  void put(RowKey key, const void* row, std::size_t bytes) {
    MDB_val name{sizeof key, &key};
    MDB_val value{bytes, const_cast<void*>(row)};
    demand(mdb_put(next(), database_.table(), &name, &value, 0));
  }
  void erase(RowKey key) {
    MDB_val name{sizeof key, &key};
    demand(mdb_del(next(), database_.table(), &name, nullptr));
  }
  void flush() {
    if (open_ != nullptr) demand(mdb_txn_commit(open_));
    open_ = nullptr;
    changes_ = 0;
  }

 private:
  MDB_txn* next() {
    if (changes_++ == changesPerTransaction) {
      flush();
      changes_ = 1;
    }
    if (open_ == nullptr) open_ = database_.begin(0);
    return open_;
  }

  Database database_;
  MDB_txn* open_ = nullptr;
  std::size_t changes_ = 0;
};

template <class R, bool renews>
struct Lmdb {
  using Row = R;
  static constexpr bool isPrivate = false;

  class Writer {
   public:
    Writer(const std::string& folder, std::uint32_t /*rows*/) : transactions_(folder) {}
    void put(const Row& row) { transactions_.put(row.key, &row, sizeof row); }
    void erase(RowKey key) { transactions_.erase(key); }
    void flush() { transactions_.flush(); }

   private:
    Transactions transactions_;
  };

  class Reader {
   public:
    Reader(const std::string& folder, std::uint32_t /*rows*/)
        : database_(folder, MDB_RDONLY), open_(database_.begin(MDB_RDONLY)) {
      end();
    }
    ~Reader() { mdb_txn_abort(open_); }
    Reader(const Reader&) = delete;
    Reader& operator=(const Reader&) = delete;

    void begin() { renew(); }
    void end() { mdb_txn_reset(open_); }  // else the writer could use no page again
    bool get(RowKey key, Row& row) {
      if (renews) renew();
      MDB_val name{sizeof key, &key};
      MDB_val value;
      const int result = mdb_get(open_, database_.table(), &name, &value);
      if (result == MDB_NOTFOUND) return false;
      demand(result);
      std::memcpy(&row, value.mv_data, sizeof row);
      return true;
    }
    template <class Each>
    void forEach(Each each) {
      MDB_cursor* cursor;
      demand(mdb_cursor_open(open_, database_.table(), &cursor));
      MDB_val key;
      MDB_val value;
      while (mdb_cursor_get(cursor, &key, &value, MDB_NEXT) == MDB_SUCCESS) {
        Row row;
        std::memcpy(&row, value.mv_data, sizeof row);
        each(row);
      }
      mdb_cursor_close(cursor);
    }

   private:
    void renew() {
      mdb_txn_reset(open_);
      demand(mdb_txn_renew(open_));
    }
    Database database_;
    MDB_txn* open_;
  };
};

}  // namespace

template <std::size_t rowBytes>
TableKind lmdbTable() {
  return tableKind<Lmdb<TableRow<rowBytes>, false>>("lmdb");
}
template <std::size_t rowBytes>
TableKind lmdbRenewedTable() {
  TableKind kind = tableKind<Lmdb<TableRow<rowBytes>, true>>("lmdbRenewed");
  kind.writes = nullptr;  // are the same
  return kind;
}
template TableKind lmdbTable<routeBytes>();
template TableKind lmdbTable<setBytes>();
template TableKind lmdbRenewedTable<routeBytes>();
template TableKind lmdbRenewedTable<setBytes>();

}  // namespace Bench
