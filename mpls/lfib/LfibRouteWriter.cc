#include "mpls/lfib/LfibRouteWriter.h"

#include <algorithm>
#include <utility>

#include "platform/forma/Assert.h"

namespace Mpls {

LfibRouteWriter::LfibRouteWriter(Forma::Ptr<LfibStatus> status, LFib::Source source)
    : status_(Forma::validPtr(std::move(status))), source_(source) {
  adoptVias();
  adoptViaSets();
  adoptRoutes();
}

// ---- What is there -----------------------------------------------------------------------------

void LfibRouteWriter::adoptVias() {
  vias_.reserve(status_->mplsVias());
  for (const auto& [key, row] : status_->mplsViaIteratorConst()) {
    if (key.source() != source_) continue;
    if (key.viaType() != viaTypeMplsIp_) {
      misfiled_.push_back(key);
      continue;
    }
    LfibMplsVia content = row;
    content.keyIs(viaKey(0));
    vias_.add(key.index(), content);
  }
}

void LfibRouteWriter::adoptViaSets() {
  viaSets_.reserve(status_->viaSets());
  for (const auto& [key, row] : status_->viaSetIteratorConst()) {
    if (key.source() != source_ || key.viaType() != viaTypeMplsIp_) continue;
    const ViaSet& viaSet = viaSets_.add(key.index(), indexesOf(row));
    for (const std::uint32_t via : viaSet.content.indexes) ++vias_.at(via)->users;
  }
}

LfibRouteWriter::ViaIndexes LfibRouteWriter::indexesOf(const LfibViaSet& row) const {
  ViaIndexes found;
  for (const LfibViaKey& key : row.viaKeyIteratorConst()) {
    if (key != viaKey(key.index()) || vias_.at(key.index()) == nullptr) return {};
    found.indexes.push_back(key.index());
  }
  std::ranges::sort(found.indexes);
  return found;
}

void LfibRouteWriter::adoptRoutes() {
  routes_.reserve(status_->lfibRoutes());
  for (const auto& [key, row] : status_->lfibRouteIteratorConst()) {
    if (row.source() != source_) continue;
    const LfibViaSetKey& named = row.viaSetKey();
    ViaSet* const viaSet = named == viaSetKey(named.index()) ? viaSets_.at(named.index()) : nullptr;
    if (viaSet != nullptr) ++viaSet->users;
    routes_.put(key, viaSet);
  }
}

// ---- Changes -----------------------------------------------------------------------------------

void LfibRouteWriter::routeIs(const RouteKey& key, std::span<const LfibMplsVia> vias,
                              const FwdEqvClass& fec) {
  FORMA_ASSERT_TEXT(!vias.empty() && vias.size() <= maxVias,
                    "!vias.empty() && vias.size() <= maxVias", "a route has 1 to 128 vias");
  ViaSet& viaSet = viaSetOf(vias);
  const LfibRoute wanted(key, viaSetKey(viaSet.index), source_, fec);
  LfibRoute row;
  if (!status_->lfibRouteFind(key, &row) || row != wanted) {
    status_->lfibRouteCommit(wanted);
    ++changes_;
  }
  ViaSet*& used = *routes_.insert(key, nullptr).first;
  if (used == &viaSet) return;
  ++viaSet.users;
  ViaSet* const before = std::exchange(used, &viaSet);
  if (before != nullptr) release(*before);
}

void LfibRouteWriter::routeDel(const RouteKey& key) {
  ViaSet* viaSet = nullptr;
  if (!routes_.take(key, &viaSet)) return;
  LfibRoute row;
  if (status_->lfibRouteFind(key, &row) && row.source() == source_) {
    status_->lfibRouteDel(key);
    ++changes_;
  }
  if (viaSet != nullptr) release(*viaSet);
}

LfibRouteWriter::ViaSet& LfibRouteWriter::viaSetOf(std::span<const LfibMplsVia> vias) {
  ViaIndexes indexes;
  indexes.indexes.reserve(vias.size());
  for (const LfibMplsVia& via : vias) indexes.indexes.push_back(viaOf(via).index);
  std::ranges::sort(indexes.indexes);
  indexes.indexes.erase(std::unique(indexes.indexes.begin(), indexes.indexes.end()),
                        indexes.indexes.end());
  ViaSet* const there = viaSets_.find(indexes);
  return there != nullptr ? *there : newViaSet(std::move(indexes));
}

LfibRouteWriter::Via& LfibRouteWriter::viaOf(const LfibMplsVia& via) {
  LfibMplsVia content = via;
  content.keyIs(viaKey(0));
  if (Via* const there = vias_.find(content)) return *there;
  const std::uint32_t index = vias_.freeIndex();
  LfibMplsVia row = content;
  row.keyIs(viaKey(index));
  status_->mplsViaCommit(row);
  ++changes_;
  return vias_.add(index, content);
}

LfibRouteWriter::ViaSet& LfibRouteWriter::newViaSet(ViaIndexes indexes) {
  const std::uint32_t index = viaSets_.freeIndex();
  LfibViaSet row(viaSetKey(index));
  for (std::size_t i = 0; i < indexes.indexes.size(); ++i)
    row.viaKeyIs(static_cast<std::uint32_t>(i), viaKey(indexes.indexes[i]));
  status_->viaSetCommit(row);
  ++changes_;
  for (const std::uint32_t via : indexes.indexes) ++vias_.at(via)->users;
  return viaSets_.add(index, std::move(indexes));
}

// ---- Removal -----------------------------------------------------------------------------------

void LfibRouteWriter::release(ViaSet& viaSet) {
  if (--viaSet.users == 0) remove(viaSet);
}

void LfibRouteWriter::remove(ViaSet& viaSet) {
  status_->viaSetDel(viaSetKey(viaSet.index));
  ++changes_;
  const std::vector<std::uint32_t> indexes = viaSet.content.indexes;
  viaSets_.remove(viaSet);
  for (const std::uint32_t index : indexes) {
    Via& via = *vias_.at(index);
    if (--via.users == 0) remove(via);
  }
}

void LfibRouteWriter::remove(Via& via) {
  status_->mplsViaDel(viaKey(via.index));
  ++changes_;
  vias_.remove(via);
}

void LfibRouteWriter::removeUnused() {
  for (ViaSet* const viaSet : viaSets_.unused()) remove(*viaSet);
  for (Via* const via : vias_.unused()) remove(*via);
  for (const LfibViaKey& key : std::exchange(misfiled_, {})) {
    status_->mplsViaTable().erase(key);  // its check would refuse the key, as it should have before
    status_->mplsViaNotify(key);
    ++changes_;
  }
}

}  // namespace Mpls
