#include "mpls/lfib/LfibRouteWriter.h"

#include <algorithm>
#include <utility>

#include "platform/forma/Assert.h"

namespace Mpls {

template <class ViaRow>
LfibRouteWriterOf<ViaRow>::LfibRouteWriterOf(Forma::Ptr<LfibStatus> status, LFib::Source source)
    : status_(Forma::validPtr(std::move(status))), source_(source) {
  adoptVias();
  adoptViaSets();
  adoptRoutes();
}

// ---- What is there -----------------------------------------------------------------------------

template <class ViaRow>
void LfibRouteWriterOf<ViaRow>::adoptVias() {
  vias_.reserve(Table::of(*status_).rows());
  for (const auto& [key, row] : Table::of(*status_)) {
    if (key.source() != source_) continue;
    if (key.viaType() != viaType) {
      misfiled_.push_back(key);
      continue;
    }
    ViaRow content = row;
    content.keyIs(viaKey(0));
    vias_.add(key.index(), content);
  }
}

template <class ViaRow>
void LfibRouteWriterOf<ViaRow>::adoptViaSets() {
  viaSets_.reserve(status_->viaSets());
  for (const auto& [key, row] : status_->viaSetIteratorConst()) {
    if (key.source() != source_ || key.viaType() != viaType) continue;
    const ViaSet& viaSet = viaSets_.add(key.index(), indexesOf(row));
    for (const std::uint32_t via : viaSet.content.indexes) ++vias_.at(via)->users;
  }
}

template <class ViaRow>
typename LfibRouteWriterOf<ViaRow>::ViaIndexes LfibRouteWriterOf<ViaRow>::indexesOf(
    const LfibViaSet& row) const {
  ViaIndexes found;
  for (const LfibViaKey& key : row.viaKeyIteratorConst()) {
    if (key != viaKey(key.index()) || vias_.at(key.index()) == nullptr) return {};
    found.indexes.push_back(key.index());
  }
  std::ranges::sort(found.indexes);
  return found;
}

template <class ViaRow>
void LfibRouteWriterOf<ViaRow>::adoptRoutes() {
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

template <class ViaRow>
void LfibRouteWriterOf<ViaRow>::routeIs(const RouteKey& key, std::span<const ViaRow> vias,
                                        const FwdEqvClass& fec) {
  FORMA_ASSERT_TEXT(!vias.empty() && vias.size() <= maxVias,
                    "!vias.empty() && vias.size() <= maxVias", "a route has 1 to maxVias vias");
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

template <class ViaRow>
void LfibRouteWriterOf<ViaRow>::routeDel(const RouteKey& key) {
  ViaSet* viaSet = nullptr;
  if (!routes_.take(key, &viaSet)) return;
  LfibRoute row;
  if (status_->lfibRouteFind(key, &row) && row.source() == source_) {
    status_->lfibRouteDel(key);
    ++changes_;
  }
  if (viaSet != nullptr) release(*viaSet);
}

template <class ViaRow>
typename LfibRouteWriterOf<ViaRow>::ViaSet& LfibRouteWriterOf<ViaRow>::viaSetOf(
    std::span<const ViaRow> vias) {
  ViaIndexes indexes;
  indexes.indexes.reserve(vias.size());
  for (const ViaRow& via : vias) indexes.indexes.push_back(viaOf(via).index);
  std::ranges::sort(indexes.indexes);
  indexes.indexes.erase(std::unique(indexes.indexes.begin(), indexes.indexes.end()),
                        indexes.indexes.end());
  ViaSet* const there = viaSets_.find(indexes);
  return there != nullptr ? *there : newViaSet(std::move(indexes));
}

template <class ViaRow>
typename LfibRouteWriterOf<ViaRow>::Via& LfibRouteWriterOf<ViaRow>::viaOf(const ViaRow& via) {
  ViaRow content = via;
  content.keyIs(viaKey(0));
  if (Via* const there = vias_.find(content)) return *there;
  const std::uint32_t index = vias_.freeIndex();
  ViaRow row = content;
  row.keyIs(viaKey(index));
  Table::commit(*status_, row);
  ++changes_;
  return vias_.add(index, content);
}

template <class ViaRow>
typename LfibRouteWriterOf<ViaRow>::ViaSet& LfibRouteWriterOf<ViaRow>::newViaSet(
    ViaIndexes indexes) {
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

template <class ViaRow>
void LfibRouteWriterOf<ViaRow>::release(ViaSet& viaSet) {
  if (--viaSet.users == 0) remove(viaSet);
}

template <class ViaRow>
void LfibRouteWriterOf<ViaRow>::remove(ViaSet& viaSet) {
  status_->viaSetDel(viaSetKey(viaSet.index));
  ++changes_;
  const std::vector<std::uint32_t> indexes = viaSet.content.indexes;
  viaSets_.remove(viaSet);
  for (const std::uint32_t index : indexes) {
    Via& via = *vias_.at(index);
    if (--via.users == 0) remove(via);
  }
}

template <class ViaRow>
void LfibRouteWriterOf<ViaRow>::remove(Via& via) {
  Table::del(*status_, viaKey(via.index));
  ++changes_;
  vias_.remove(via);
}

template <class ViaRow>
void LfibRouteWriterOf<ViaRow>::removeUnused() {
  for (ViaSet* const viaSet : viaSets_.unused()) remove(*viaSet);
  for (Via* const via : vias_.unused()) remove(*via);
  for (const LfibViaKey& key : std::exchange(misfiled_, {})) {
    Table::of(*status_).erase(key);  // its check would refuse the key, as it should have before
    Table::tell(*status_, key);
    ++changes_;
  }
}

template class LfibRouteWriterOf<LfibMplsVia>;
template class LfibRouteWriterOf<LfibPwVia>;
template class LfibRouteWriterOf<LfibIpLookupVia>;

}  // namespace Mpls
