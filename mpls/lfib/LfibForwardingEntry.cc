#include "mpls/lfib/LfibForwardingEntry.h"

#include <utility>

namespace Mpls {

namespace {

/// Vias of other types than their set's are no vias of it.
void takeVias(const LfibStatus& lfib, const LfibViaSet& viaSet, std::vector<LfibViaRow>* vias) {
  for (const LfibViaKey& key : viaSet.viaKeyIteratorConst()) {
    if (key.viaType() != viaSet.key().viaType()) continue;
    vias->emplace_back();
    if (!lfibViaRowFind(lfib, key, &vias->back())) vias->pop_back();
  }
}

LfibHwReason resolve(const LfibStatus& lfib, const LfibViaSetKey& key,
                     std::vector<LfibViaRow>* vias) {
  if (!hasLfibViaTable(key.viaType())) return reasonViaTypeUnknown_;
  LfibViaSet viaSet;
  if (!lfib.viaSetFind(key, &viaSet)) return reasonViaSetMissing_;
  if (viaSet.viaKeys() == 0) return reasonViaSetEmpty_;
  if (viaSet.viaKeys() > 1 && LfibStatus::isEvpnViaType(key.viaType())) return reasonViasTooMany_;
  takeVias(lfib, viaSet, vias);
  return vias->empty() ? reasonViasMissing_ : reasonNone_;
}

}  // namespace

void lfibNextHopsOf(const LfibStatus& lfib, const LfibViaSetKey& key, LfibNextHops* found) {
  found->vias.clear();
  found->reason = resolve(lfib, key, &found->vias);
}

LfibForwardingEntry::LfibForwardingEntry(std::uint32_t lfib, const LfibViaSetKey& viaSetKey,
                                         std::vector<LfibViaRow> vias)
    : lfib_(lfib), viaSetKey_(viaSetKey), vias_(std::move(vias)) {}

LfibForwardingEntry::~LfibForwardingEntry() = default;

}  // namespace Mpls
