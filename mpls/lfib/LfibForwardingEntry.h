/// What a route forwards over: the vias of its via set that are there.
#pragma once

#include <cstdint>
#include <vector>

#include "mpls/lfib/LfibHwReason.h"
#include "mpls/lfib/LfibViaRow.h"
#include "mpls/types/AdjacencyKey.h"
#include "platform/forma/Ptr.h"

namespace Mpls {

/// The content of a via set as the tables have it at one moment. Rows may be wrong in any way, as
/// checks run where they are written only: what makes no sense is not usable, and a reason.
struct LfibNextHops {
  /// Why there are no vias; reasonNone when there are.
  LfibHwReason reason = reasonNone_;
  /// Those that are there, in the order of the set.
  std::vector<LfibViaRow> vias;

  bool operator==(const LfibNextHops&) const = default;
};

/// Reads a via set and its vias. `found` is overwritten; its memory is used again.
MPLS_EXPORT void lfibNextHopsOf(const LfibStatus& lfib, const LfibViaSetKey& key,
                                LfibNextHops* found);

/// What all routes of one via set of one LFIB lead to. Never changes: other content, another entry.
/// Made by LfibForwardingEntries; one that is held stays readable when no route uses it any more.
class MPLS_EXPORT LfibForwardingEntry : public Forma::PtrInterface {
 public:
  ~LfibForwardingEntry() override;

  /// The number of the LFIB, from 0.
  std::uint32_t lfib() const { return lfib_; }
  const LfibViaSetKey& viaSetKey() const { return viaSetKey_; }
  /// At least one, each of the via set's type.
  const std::vector<LfibViaRow>& vias() const { return vias_; }
  /// That in Mpls::Status; the default one for kinds of vias that have none there.
  const AdjacencyKey& adjacencyKey() const { return adjacencyKey_; }
  /// How many routes lead here.
  std::uint32_t routes() const { return routes_; }

 private:
  friend class LfibForwardingEntries;
  LfibForwardingEntry(std::uint32_t lfib, const LfibViaSetKey& viaSetKey,
                      std::vector<LfibViaRow> vias);

  const std::uint32_t lfib_;
  const LfibViaSetKey viaSetKey_;
  const std::vector<LfibViaRow> vias_;
  AdjacencyKey adjacencyKey_;
  std::uint32_t routes_ = 0;
  std::uint64_t readIn_ = 0;  // the generation in which the tables said this; 0: they may not now
};

}  // namespace Mpls
