#include "mpls/lfib/LfibForwardingEntries.h"

#include <utility>

namespace Mpls {

namespace {

/// The label on top stands for the stack; the number tells how many vias differ in the rest only.
ViaSet viaSetOf(const LfibForwardingEntry& entry) {
  ViaSet set;
  for (const LfibViaRow& one : entry.vias()) {
    const auto& row = std::get<LfibMplsVia>(one);
    const Via via(row.nextHop(), {}, row.labelAction(), row.labelStack().label(0), row.intf(),
                  row.payloadType(), row.skipEgressAcl(), row.ttlMode(), row.weight());
    set.viaIs(via, set.via(via) + 1);
  }
  return set;
}

/// Readers of the status know one via of a pseudowire: the first.
PwVia pwViaOf(const LfibForwardingEntry& entry) {
  const auto& row = std::get<LfibPwVia>(entry.vias().front());
  return {row.pwIntfId(), row.controlWordPresent(), row.pwType()};
}

/// Indexes have room for 16 sources.
LFib::Source indexSourceOf(LFib::Source source) {
  return source < LFib::lfibSourceMax_ ? source : LFib::lfibSourceUnknown_;
}

}  // namespace

LfibForwardingEntries::LfibForwardingEntries(Forma::Ptr<Status> status)
    : status_(std::move(status)), indexes_(MplsHelper::lfibGenAdjIdxAllocatorFactory(status_)) {}

LfibForwardingEntries::EntryPtr LfibForwardingEntries::entry(std::uint32_t lfib,
                                                             const LfibViaSetKey& key,
                                                             LfibHwReason* reason) {
  Lfib& of = lfibs_[lfib];
  EntryPtr* const known = of.entries.find(key);
  *reason = reasonNone_;
  if (known != nullptr && (*known)->readIn_ == generation_) return *known;
  lfibNextHopsOf(*of.status, key, &found_);
  *reason = found_.reason;
  if (found_.reason != reasonNone_) return nullptr;
  if (known != nullptr && (*known)->vias() == found_.vias) {
    (*known)->readIn_ = generation_;
    return *known;
  }
  EntryPtr made(new LfibForwardingEntry(lfib, key, found_.vias));
  made->readIn_ = generation_;
  of.entries.put(key, made);
  return made;
}

void LfibForwardingEntries::viaSetChanged(std::uint32_t lfib, const LfibViaSetKey& key) {
  if (const EntryPtr* const known = lfibs_[lfib].entries.find(key)) (*known)->readIn_ = 0;
}

void LfibForwardingEntries::use(LfibForwardingEntry& entry) {
  if (entry.routes_++ != 0) return;
  ++size_;
  entry.adjacencyKey_ = newAdjacency(entry);
}

void LfibForwardingEntries::release(LfibForwardingEntry& entry) {
  if (--entry.routes_ != 0) return;
  --size_;
  delAdjacency(std::exchange(entry.adjacencyKey_, {}));
  auto& entries = lfibs_[entry.lfib()].entries;
  const EntryPtr* const newest = entries.find(entry.viaSetKey());
  if (newest != nullptr && newest->get() == &entry) entries.erase(LfibViaSetKey(entry.viaSetKey()));
}

AdjacencyKey LfibForwardingEntries::newAdjacency(const LfibForwardingEntry& entry) {
  const LfibViaType type = entry.viaSetKey().viaType();
  if (type != viaTypeMplsIp_ && type != viaTypeMplsPseudowire_) return {};
  const std::uint64_t index =
      indexes_->getAdjacencyIndex(indexSourceOf(entry.viaSetKey().source()));
  if (type == viaTypeMplsIp_) status_->newLfibAdjacency(index, viaSetOf(entry));
  else status_->newLfibPwAdjacency(index, pwViaOf(entry));
  return {index, type == viaTypeMplsIp_ ? mplsIp_ : mplsPseudowire_};
}

void LfibForwardingEntries::delAdjacency(const AdjacencyKey& key) {
  if (key.adjType() == mplsIp_) status_->lfibAdjacencyDel(key.index());
  else if (key.adjType() == mplsPseudowire_) status_->lfibPwAdjacencyDel(key.index());
}

}  // namespace Mpls
