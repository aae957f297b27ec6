/// What routers say of their segments: in the configuration of the recorded router itself, and in
/// the LSAs that it received (RFC 8665).
///
/// Thread    one.
/// Errors    InputError where a file does not hold what is expected.
#pragma once

#include <cstdint>
#include <map>
#include <optional>
#include <tuple>
#include <vector>

#include "agents/replay/Node.h"
#include "mpls/tables/SegmentRoutingRows.h"

namespace SrAgent {

using Tarn::SegmentRouting::GlobalBlock;
using Tarn::SegmentRouting::PrefixSegment;

/// The identity of a router that has no more than an address: 10.0.0.1.
Mpls::RouterId routerIdFrom(const Replay::Node& node);

/// The segments of one router, or of one LSA: rows whose router is not filled in yet.
struct Segments {
  /// The first range is the block that counts. None: the size is 0.
  Mpls::LabelRange globalBlock;
  std::vector<PrefixSegment> prefixes;
};

/// From the segment-routing part of config.json; nothing when there is none.
Segments segmentsOfConfig(const Replay::Node& config);
/// From a SrCfgUpd, which states all there is.
Segments segmentsOfUpdate(const Replay::Node& update);

/// The LSAs that a router holds, as far as they speak of segments.
class LsaStore {
 public:
  /// Takes the LSAs of a NetRxPacket; other events change nothing. The newest instance of an LSA
  /// counts; one of the maximal age is gone.
  void take(const Replay::Node& protocolEvent);

  /// Calls `visit(router, segments)` for each LSA, ordered by router.
  template <class Visit>
  void each(Visit visit) const {
    for (const auto& [key, lsa] : lsas_) visit(std::get<0>(key), lsa.segments);
  }
  std::size_t size() const { return lsas_.size(); }

 private:
  /// Router, LSA identifier, area: an LSA stays in its area.
  using Key = std::tuple<Mpls::RouterId, std::string, std::string>;
  struct Lsa {
    std::int32_t sequence;
    Segments segments;
  };

  void takeLsa(const std::string& area, const Replay::Node& lsa);

  std::map<Key, Lsa> lsas_;
};

}  // namespace SrAgent
