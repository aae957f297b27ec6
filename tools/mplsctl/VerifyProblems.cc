#include "tools/mplsctl/VerifyProblems.h"

#include "mpls/lfib/LfibViaRow.h"
#include "tools/mplsctl/LfibView.h"
#include "tools/mplsctl/ValueText.h"
#include "tools/mplsctl/VerifyCheck.h"

namespace MplsCtl {

namespace {

using Mpls::LfibRoute;
using Mpls::LfibStatus;
using Mpls::LfibViaKey;
using Mpls::LfibViaSet;
using Mpls::LfibViaSetKey;
using Mpls::RouteKey;

template <class Key>
std::string keyText(const Key& key) {
  return nameWithout("lfibSource", key.source()) + " " + std::to_string(key.index()) + ", type " +
         nameWithout("viaType", key.viaType());
}

}  // namespace

bool hasVia(const LfibStatus& lfib, const LfibViaKey& key) {
  Mpls::LfibViaRow row;
  return Mpls::lfibViaRowFind(lfib, key, &row);
}

/// Empty when nothing is, or the route is gone.
std::string referenceProblem(const LfibStatus& lfib, const RouteKey& key) {
  LfibRoute route, now;
  LfibViaSet viaSet;
  for (int look = 0; look < secondLooks; ++look, route = now) {
    if (!lfib.lfibRouteFind(key, &route) || lfib.viaSetFind(route.viaSetKey(), &viaSet)) return {};
    if (!lfib.lfibRouteFind(key, &now)) return {};
    if (now == route) break;
  }
  return "route " + textOf(key) + ": no via set " + textOf(route.viaSetKey());
}

std::string referenceProblem(const LfibStatus& lfib, const LfibViaSetKey& key) {
  LfibViaSet viaSet, now;
  for (int look = 0; look < secondLooks; ++look) {
    if (!lfib.viaSetFind(key, &viaSet)) return {};
    std::string problem;
    for (const LfibViaKey& via : viaSet.viaKeyIteratorConst())
      if (!hasVia(lfib, via)) problem = "via set " + textOf(key) + ": no via " + textOf(via);
    if (problem.empty()) return {};
    if (lfib.viaSetFind(key, &now) && now == viaSet) return problem;
  }
  return {};
}

std::string homogeneityProblem(const LfibRoute& route) {
  const bool isEvpn = LfibStatus::isEvpnViaType(route.viaSetKey().viaType());
  if (!isEvpn || route.key().metric().value() == 0) return {};
  return "route " + textOf(route.key()) + ": its via set " + textOf(route.viaSetKey()) +
         " asks for the metric 0";
}

std::string homogeneityProblem(const LfibViaSet& viaSet) {
  std::size_t vias = 0;
  for (const LfibViaKey& via : viaSet.viaKeyIteratorConst()) {
    ++vias;
    if (via.viaType() != viaSet.key().viaType())
      return "via set " + textOf(viaSet.key()) + ": via " + textOf(via) + " is of another type";
  }
  if (vias < 2 || !LfibStatus::isEvpnViaType(viaSet.key().viaType())) return {};
  return "via set " + textOf(viaSet.key()) + ": " + std::to_string(vias) + " vias, of its type one";
}

std::string textOf(const LfibViaKey& key) { return keyText(key); }
std::string textOf(const LfibViaSetKey& key) { return keyText(key); }

}  // namespace MplsCtl
