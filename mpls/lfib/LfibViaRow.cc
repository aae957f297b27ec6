#include "mpls/lfib/LfibViaRow.h"

namespace Mpls {

namespace {

/// The name of a VRF may fill its buffer by one byte too many.
template <class Row>
bool isGood(const Row& /*row*/) {
  return true;
}
bool isGood(const LfibIpLookupVia& row) {
  return row.vrfNameBufferText().size() <= L3::VrfName::maxLength();
}

template <std::size_t at>
bool find(const LfibStatus& lfib, const LfibViaKey& key, LfibViaRow* row) {
  using Row = std::variant_alternative_t<at, LfibViaRow>;
  if (LfibViaTable<Row>::type != key.viaType()) return false;
  Row* const there = std::get_if<at>(row);
  Row& found = there != nullptr ? *there : row->emplace<at>();
  return LfibViaTable<Row>::of(lfib).find(key, &found) && isGood(found);
}

}  // namespace

bool lfibViaRowFind(const LfibStatus& lfib, const LfibViaKey& key, LfibViaRow* row) {
  return [&]<std::size_t... at>(std::index_sequence<at...>) {
    return (find<at>(lfib, key, row) || ...);
  }
  (std::make_index_sequence<std::variant_size_v<LfibViaRow>>());
}

}  // namespace Mpls
