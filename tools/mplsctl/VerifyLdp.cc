#include "tools/mplsctl/VerifyLdp.h"

#include <set>
#include <utility>

#include "tools/mplsctl/ValueText.h"

namespace MplsCtl {

namespace {

using Fec = Mpls::FwdEqvClass;
using Mpls::LfibRoute;
using Mpls::LfibStatus;
using Netbase::MplsLabel;
using Tables = Ldp::LdpTarn::LdpLabelBindingTable;

std::string labelText(MplsLabel label) { return "label " + std::to_string(label.value()); }

/// Labels from here on are given to FECs; those below have a meaning of their own (RFC 3032).
constexpr std::uint32_t firstOrdinaryLabel = 16;
constexpr std::uint32_t implicitNull = 3;

/// All that is known at one time, sorted.
struct LdpFacts {
  LdpFacts(const Tables& tables, const LfibStatus& lfibThen);

  bool isBound(MplsLabel label) const { return std::ranges::binary_search(labels, label); }
  bool isBoundByPeer(const Fec& fec, MplsLabel label) const {
    return std::ranges::binary_search(peers, std::pair(fec, label));
  }
  bool isKnownToPeers(const Fec& fec) const {
    const auto at = std::ranges::lower_bound(peers, std::pair(fec, MplsLabel(0)));
    return at != peers.end() && at->first == fec;
  }

  std::vector<std::pair<Fec, MplsLabel>> local;  ///< bindings of this router
  std::vector<MplsLabel> labels;                 ///< of those
  std::vector<Fec> advertised;                   ///< to anybody
  std::vector<std::pair<Fec, MplsLabel>> peers;  ///< bindings of all peers
  std::vector<MplsLabel> routed;                 ///< labels with routes in the LFIB
  std::vector<LfibRoute> routes;                 ///< those of LDP
};

LdpFacts::LdpFacts(const Tables& tables, const LfibStatus& lfibThen) {
  tables.localLbtTable().eachKey([this](const auto& key) {
    local.emplace_back(key.fwdEqvClass(), key.label());
    labels.push_back(key.label());
  });
  tables.localLbtAdvertisedToTable().eachKey(
      [this](const auto& key) { advertised.push_back(key.fwdEqvClass()); });
  tables.peerLbtTable().eachKey(
      [this](const auto& key) { peers.emplace_back(key.fwdEqvClass(), key.label()); });
  for (const auto& [key, row] : lfibThen.lfibRouteTable()) {
    routed.push_back(key.topLabel());
    if (row.source() == Mpls::LFib::lfibSourceLdp_) routes.push_back(row);
  }
  std::ranges::sort(local);
  std::ranges::sort(labels);
  std::ranges::sort(advertised);
  std::ranges::sort(peers);
  std::ranges::sort(routed);
}

using Findings = std::set<std::string>;

bool hasFec(const LfibRoute& route) { return route.fec() != Fec(); }

Findings unboundRoutes(const LdpFacts& facts, const LfibStatus& /*lfib*/) {
  Findings found;
  for (const LfibRoute& route : facts.routes) {
    const MplsLabel label = route.key().topLabel();
    if (!facts.isBound(label))
      found.insert(labelText(label) + ": in the LFIB, but bound to nothing");
    else if (hasFec(route) &&
             !std::ranges::binary_search(facts.local, std::pair(route.fec(), label)))
      found.insert(labelText(label) + ": in the LFIB for " + textOf(route.fec()) +
                   ", to which it is not bound");
  }
  return found;
}

/// What a peer must have bound so that packets are sent that way.
MplsLabel outLabel(const Mpls::LfibMplsVia& via) {
  return via.labelStack().empty() ? MplsLabel(implicitNull) : via.labelStack().label(0);
}

Findings unboundVias(const LdpFacts& facts, const LfibStatus& lfib) {
  Findings found;
  for (const LfibRoute& route : facts.routes) {
    Mpls::LfibViaSet viaSet;
    if (!hasFec(route) || !lfib.viaSetFind(route.viaSetKey(), &viaSet)) continue;
    for (const Mpls::LfibViaKey& key : viaSet.viaKeyIteratorConst()) {
      Mpls::LfibMplsVia via;
      if (!lfib.mplsViaFind(key, &via) || facts.isBoundByPeer(route.fec(), outLabel(via))) continue;
      found.insert(labelText(route.key().topLabel()) + ": sent on with " +
                   labelText(outLabel(via)) + ", which no peer bound to " + textOf(route.fec()));
    }
  }
  return found;
}

Findings unroutedLabels(const LdpFacts& facts, const LfibStatus& /*lfib*/) {
  Findings found;
  for (const auto& [fec, label] : facts.local)
    if (label.value() >= firstOrdinaryLabel && !std::ranges::binary_search(facts.routed, label) &&
        std::ranges::binary_search(facts.advertised, fec) && facts.isKnownToPeers(fec))
      found.insert(labelText(label) + ": bound to " + textOf(fec) +
                   " and advertised, but not in the LFIB");
  return found;
}

}  // namespace

void verifyLdp(const Tables& tables, const LfibStatus& lfib, const std::string& place,
               const Pause& pause, const CheckSink& sink) {
  using Find = Findings (*)(const LdpFacts&, const LfibStatus&);
  constexpr std::pair<const char*, Find> all[] = {
      {"bindings", unboundRoutes}, {"vias", unboundVias}, {"routes", unroutedLabels}};
  LdpFacts facts(tables, lfib);
  std::vector<Findings> found;
  for (const auto& one : all) found.push_back(one.second(facts, lfib));
  const auto isGood = [](const Findings& one) { return one.empty(); };
  for (int look = 0; look < secondLooks && !std::ranges::all_of(found, isGood); ++look) {
    pause();
    facts = LdpFacts(tables, lfib);
    for (std::size_t i = 0; i < found.size(); ++i) {
      const Findings now = all[i].second(facts, lfib);
      std::erase_if(found[i], [&now](const std::string& one) { return !now.contains(one); });
    }
  }
  for (std::size_t i = 0; i < found.size(); ++i) {
    Check check(all[i].first, place);
    for (const std::string& one : found[i]) check.failed(one);
    check.summaryIs(std::to_string(facts.local.size()) + " local bindings, " +
                    std::to_string(facts.peers.size()) + " of peers, " +
                    std::to_string(facts.routes.size()) + " routes");
    sink(check);
  }
}

}  // namespace MplsCtl
