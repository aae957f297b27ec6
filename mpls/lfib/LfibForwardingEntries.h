/// Gives routes what they forward over, shared by all routes of a via set, and keeps the
/// adjacencies of Mpls::Status in step with that.
///
/// Thread    that of the loop.
/// Outputs   lfibAdjacency and lfibPwAdjacency of the status: one for each entry of those kinds
///           that routes use. Other kinds have no adjacency.
/// Cost      a via set is read again when its rows changed, however many of its routes are asked
/// for.
#pragma once

#include <cstdint>
#include <vector>

#include "mpls/entities/Status.h"
#include "mpls/lfib/LfibForwardingEntry.h"
#include "mpls/lfib/LfibGenAdjIdxAllocator.h"
#include "platform/forma/HashMap.h"

namespace Mpls {

class LfibForwardingEntries {
 public:
  using EntryPtr = Forma::Ptr<LfibForwardingEntry>;

  explicit LfibForwardingEntries(Forma::Ptr<Status> status);

  /// One LFIB more; they are numbered from 0.
  void lfibAdd(Forma::Ptr<LfibStatus const> lfib) { lfibs_.push_back({std::move(lfib), {}}); }
  /// Rows of the via set changed: it is read again when it is asked for. So is each one of which no
  /// via is there.
  void viaSetChanged(std::uint32_t lfib, const LfibViaSetKey& key);
  /// Nobody knows which: all are.
  void allChanged() { ++generation_; }
  /// What routes of the via set lead to now; null, and why, when that is nothing.
  EntryPtr entry(std::uint32_t lfib, const LfibViaSetKey& key, LfibHwReason* reason);
  /// One route more leads to the entry. The first one brings the adjacency.
  void use(LfibForwardingEntry& entry);
  /// One less; the last one takes the adjacency along.
  void release(LfibForwardingEntry& entry);

  /// Entries that routes use.
  std::size_t size() const { return size_; }

 private:
  AdjacencyKey newAdjacency(const LfibForwardingEntry& entry);
  void delAdjacency(const AdjacencyKey& key);

  struct Lfib {
    Forma::Ptr<LfibStatus const> status;
    Forma::HashMap<LfibViaSetKey, EntryPtr> entries;  // the newest of each via set
  };
  std::vector<Lfib> lfibs_;
  const Forma::Ptr<Status> status_;
  const Forma::Ptr<MplsHelper::LfibGenAdjIdxAllocator> indexes_;
  std::uint64_t generation_ = 1;
  std::size_t size_ = 0;
  LfibNextHops found_;  // its memory is used again
};

}  // namespace Mpls
