#include "tools/mplsctl/VerifyRoutes.h"

#include <algorithm>

#include "mpls/lfib/LfibMplsVia.h"
#include "tools/mplsctl/LfibView.h"

namespace MplsCtl {

namespace {

using Mpls::LfibMplsVia;
using Mpls::LfibRoute;
using Mpls::LfibStatus;
using Mpls::RouteKey;
using Vias = std::vector<LfibMplsVia>;

constexpr auto source = Mpls::LFib::lfibSourceStaticMpls_;
constexpr std::size_t maxVias = Mpls::LfibViaIndexRange::max + std::size_t{1};

/// Next-hop groups, and labels that are none, have no place in an LFIB.
bool fits(const Mpls::Via& via) {
  const std::uint32_t label = via.outLabel().value();
  return via.nexthopGroup().empty() &&
         (label <= Netbase::MplsLabel::max || label == Netbase::MplsLabel::none);
}

LfibMplsVia rowOf(const Mpls::Via& via) {
  LfibMplsVia row({}, via.nextHop(), via.labelAction(), via.outLabel(), via.skipEgressAcl());
  row.intfIs(via.intf());
  row.payloadTypeIs(via.payloadType());
  row.ttlModeIs(via.ttlMode());
  row.weightIs(via.weight());
  return row;
}

/// What the LFIB is to have of a route: its first vias in their order that fit.
Vias wantedVias(const Mpls::Route& route) {
  std::vector<Mpls::Via> sorted;
  for (const auto& one : route.viaIteratorConst()) sorted.push_back(one.key);
  std::ranges::sort(sorted);
  Vias vias;
  for (const Mpls::Via& via : sorted)
    if (fits(via) && vias.size() < maxVias) vias.push_back(rowOf(via));
  return vias;
}

/// Those that are there, without their keys.
Vias viasThere(const LfibStatus& lfib, const LfibRoute& route) {
  Vias vias;
  Mpls::LfibViaSet viaSet;
  if (!lfib.viaSetFind(route.viaSetKey(), &viaSet)) return vias;
  for (const Mpls::LfibViaKey& key : viaSet.viaKeyIteratorConst()) {
    LfibMplsVia row;
    if (!lfib.mplsViaFind(key, &row)) continue;
    row.keyIs({});
    vias.push_back(row);
  }
  return vias;
}

/// What is wrong with a merged route in the LFIB; empty when nothing is.
std::string mergedProblem(const Mpls::RouteConfig& config, const LfibStatus& lfib,
                          const RouteKey& key) {
  const Mpls::Route* const route = config.routeFind(key);
  if (route == nullptr) return {};
  const Vias wanted = wantedVias(*route);
  if (wanted.empty()) return {};
  LfibRoute row;
  if (!lfib.lfibRouteFind(key, &row)) return textOf(key) + ": merged, but not in the LFIB";
  if (row.source() != source) return textOf(key) + ": another source has its place in the LFIB";
  const Vias there = viasThere(lfib, row);
  if (std::ranges::is_permutation(wanted, there)) return {};
  return textOf(key) + ": merged with " + std::to_string(wanted.size()) +
         " vias, in the LFIB with " + std::to_string(there.size()) +
         (wanted.size() == there.size() ? " others" : "");
}

/// The same of a route of the LFIB that is not merged.
std::string extraProblem(const Mpls::RouteConfig& config, const LfibStatus& lfib,
                         const RouteKey& key) {
  LfibRoute row;
  if (!lfib.lfibRouteFind(key, &row) || row.source() != source) return {};
  const Mpls::Route* const route = config.routeFind(key);
  if (route == nullptr) return textOf(key) + ": in the LFIB, but not merged";
  return wantedVias(*route).empty() ? textOf(key) + ": in the LFIB, which can hold none of its vias"
                                    : "";
}

}  // namespace

void verifyRoutes(const Mpls::RouteConfig& config, const LfibStatus& lfib, const std::string& place,
                  const Pause& pause, const CheckSink& sink) {
  Check merged("merged", place), extra("extra", place);
  std::vector<RouteKey> suspects;
  std::uint64_t routes = 0, there = 0;
  for (const auto& one : config.routeIteratorConst()) {
    ++routes;
    if (!mergedProblem(config, lfib, one.key).empty()) suspects.push_back(one.key);
  }
  lookAgain(std::move(suspects), merged, pause,
            [&](const RouteKey& key) { return mergedProblem(config, lfib, key); });
  merged.summaryIs(std::to_string(routes) + " merged routes");
  sink(merged);

  suspects.clear();
  lfib.lfibRouteTable().eachKey([&](const RouteKey& key) {
    ++there;
    if (!extraProblem(config, lfib, key).empty()) suspects.push_back(key);
  });
  lookAgain(std::move(suspects), extra, pause,
            [&](const RouteKey& key) { return extraProblem(config, lfib, key); });
  extra.summaryIs(std::to_string(there) + " routes of the LFIB");
  sink(extra);
}

}  // namespace MplsCtl
