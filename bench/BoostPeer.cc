#include <boost/interprocess/allocators/allocator.hpp>
#include <boost/interprocess/managed_mapped_file.hpp>
#include <boost/interprocess/sync/interprocess_sharable_mutex.hpp>
#include <boost/interprocess/sync/scoped_lock.hpp>
#include <boost/interprocess/sync/sharable_lock.hpp>
#include <boost/unordered_map.hpp>
#include <functional>
#include <string>
#include <utility>

#include "bench/TableRun.h"

namespace Bench {
namespace {

namespace ipc = boost::interprocess;
using Segment = ipc::managed_mapped_file;
using Mutex = ipc::interprocess_sharable_mutex;

struct KeyHash {
  std::size_t operator()(RowKey key) const { return Forma::hashOf(key); }
};
template <class Row>
using Allocator = ipc::allocator<std::pair<const RowKey, Row>, Segment::segment_manager>;
template <class Row>
using Map = boost::unordered_map<RowKey, Row, KeyHash, std::equal_to<RowKey>, Allocator<Row>>;

template <class R>
struct Boost {
  using Row = R;
  static constexpr bool isPrivate = false;

  class Writer {
   public:
    Writer(const std::string& folder, std::uint32_t rows)
        : segment_(ipc::create_only, (folder + "/boost").c_str(),
                   rows * (sizeof(Row) + 64) + (8 << 20)),
          mutex_(*segment_.construct<Mutex>("mutex")()),
          map_(*segment_.construct<Map<Row>>("map")(rows, KeyHash(), std::equal_to<RowKey>(),
                                                    segment_.get_segment_manager())) {}
    void put(const Row& row) {
      const ipc::scoped_lock<Mutex> lock(mutex_);
      const auto [at, isNew] = map_.try_emplace(row.key, row);
      if (!isNew) at->second = row;
    }
    void erase(RowKey key) {
      const ipc::scoped_lock<Mutex> lock(mutex_);
      map_.erase(key);
    }
    void flush() {}

   private:
    Segment segment_;
    Mutex& mutex_;
    Map<Row>& map_;
  };

  class Reader {
   public:
    // The mutex is in the segment, too, so readers must be able to write.
    Reader(const std::string& folder, std::uint32_t /*rows*/)
        : segment_(ipc::open_only, (folder + "/boost").c_str()),
          mutex_(*segment_.find<Mutex>("mutex").first),
          map_(*segment_.find<Map<Row>>("map").first) {}
    bool get(RowKey key, Row& row) {
      const ipc::sharable_lock<Mutex> lock(mutex_);
      const auto at = map_.find(key);
      if (at == map_.end()) return false;
      row = at->second;
      return true;
    }
    template <class Each>
    void forEach(Each each) {
      const ipc::sharable_lock<Mutex> lock(mutex_);
      for (const auto& [key, row] : map_) each(row);
    }

   private:
    Segment segment_;
    Mutex& mutex_;
    const Map<Row>& map_;
  };
};

}  // namespace

template <std::size_t rowBytes>
TableKind boostTable() {
  return tableKind<Boost<TableRow<rowBytes>>>("boost");
}
template TableKind boostTable<routeBytes>();
template TableKind boostTable<setBytes>();

}  // namespace Bench
