#include <absl/container/flat_hash_map.h>

#include <string>

#include "bench/TableRun.h"

namespace Bench {
namespace {

template <class R>
struct Absl {
  using Row = R;
  static constexpr bool isPrivate = true;

  class Reader {
   public:
    Reader(const std::string& /*folder*/, std::uint32_t rows) {
      map_.reserve(rows);
      for (const RowKey key : tableKeys(rows, 1)) map_.emplace(key, Row::make(key, 1));
    }
    bool get(RowKey key, Row& row) const {
      const auto at = map_.find(key);
      if (at == map_.end()) return false;
      row = at->second;
      return true;
    }
    template <class Each>
    void forEach(Each each) const {
      for (const auto& [key, row] : map_) each(row);
    }

   private:
    absl::flat_hash_map<RowKey, Row> map_;
  };
};

}  // namespace

template <std::size_t rowBytes>
TableKind abslTable() {
  return tableKind<Absl<TableRow<rowBytes>>>("absl");
}
template TableKind abslTable<routeBytes>();
template TableKind abslTable<setBytes>();

}  // namespace Bench
