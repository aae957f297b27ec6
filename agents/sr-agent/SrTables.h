/// Brings the segment-routing tables and the LFIB of an instance in line with a router.
///
/// Thread    that of the tables.
/// Restart   adopts the rows that are there, and writes and removes only what differs.
/// Order     blocks and segments come before the routes whose labels they explain, and go after
///           them.
#pragma once

#include <cstdint>

#include "agents/replay/LabelInstalls.h"
#include "agents/sr-agent/Router.h"
#include "mpls/tables/SegmentRoutingStatus.h"

namespace SrAgent {

/// Makes all four tables equal to `rows`; returns the rows written and removed.
std::uint64_t writeRows(Tarn::SegmentRouting::Status& status, const Rows& rows);

/// Makes the LFIB equal to the labels of `router`: those of its global block as prefix segments,
/// others as adjacency segments, by address family. Returns the rows written and removed.
std::uint64_t writeLabels(const Forma::Ptr<Mpls::LfibStatus>& lfib, const Router& router);

/// The source of such a label.
Mpls::LFib::Source sourceOf(const Mpls::LabelRange& globalBlock, Netbase::MplsLabel label,
                            const Replay::LabelInstalls::NextHops& nextHops);

}  // namespace SrAgent
