#include "agents/sr-agent/Router.h"

#include <algorithm>

namespace SrAgent {

using Replay::Node;

namespace {

/// That of the first protocol that has one.
std::optional<Mpls::RouterId> configuredId(const Node& config) {
  std::optional<Mpls::RouterId> id;
  const auto protocols =
      config.findBelow("ietf-routing:routing/control-plane-protocols/control-plane-protocol");
  if (!protocols) return id;
  protocols->eachItem([&](const Node& one) {
    const auto found = one.findBelow("ietf-ospf:ospf/explicit-router-id");
    if (found && !id) id = routerIdFrom(*found);
  });
  return id;
}

}  // namespace

Router::Router(const Node& config) : id_(configuredId(config)), own_(segmentsOfConfig(config)) {}

void Router::take(const Node& event) {
  if (const auto ibus = Replay::ibusOf(event)) takeIbus(*ibus);
  else lsas_.take(event.member("Protocol"));
}

void Router::takeIbus(const Node& ibus) {
  interfaces_.take(ibus);
  if (const auto id = ibus.find("RouterIdUpdate")) id_ = routerIdFrom(*id);
  if (const auto update = ibus.find("SrCfgUpd")) own_ = segmentsOfUpdate(*update);
  if (const auto add = ibus.find("RouteIpAdd")) addRoute(*add);
  if (const auto remove = ibus.find("RouteIpDel")) removeRoute(*remove);
  if (auto change = Replay::labelChangeFrom(ibus)) labelChanges_.push_back(*std::move(change));
}

/// A route that has lost its labels is none of segment routing any more.
void Router::addRoute(const Node& add) {
  const Netbase::IpGenPrefix prefix = add.member("prefix").prefix();
  IpRoute route{add.member("protocol").text(),
                static_cast<std::uint8_t>(add.member("distance").number("a distance", UINT8_MAX)),
                add.member("metric").number("a metric", UINT32_MAX),
                Replay::nextHopsFrom(add.member("nexthops"))};
  const bool labelled = std::ranges::any_of(
      route.nextHops, [](const Replay::NextHop& one) { return !one.labels.empty(); });
  if (labelled) routes_.insert_or_assign(prefix, std::move(route));
  else removeRoute(add);
}

/// That of another protocol stays.
void Router::removeRoute(const Node& remove) {
  const auto found = routes_.find(remove.member("prefix").prefix());
  if (found != routes_.end() && found->second.protocol == remove.member("protocol").text())
    routes_.erase(found);
}

// ---- Rows ---------------------------------------------------------------------------------------

Rows Router::rows() const {
  Rows rows;
  if (id_) addSegments(*id_, own_, rows);
  lsas_.each([&](const Mpls::RouterId& router, const Segments& segments) {
    addSegments(router, segments, rows);
  });
  for (const auto& [prefix, route] : routes_) {
    const std::vector<Tarn::Fib::Via> vias = viasOf(route);
    if (prefix.address().isV4()) {
      const Netbase::Prefix key(prefix);
      rows.v4Routes.try_emplace(key, key, route.preference, route.metric, vias);
    } else {
      const Netbase::Ip6Prefix key(prefix);
      rows.v6Routes.try_emplace(key, key, route.preference, route.metric, vias);
    }
  }
  return rows;
}

/// The first who says something stands.
void Router::addSegments(const Mpls::RouterId& router, const Segments& segments, Rows& rows) const {
  if (segments.globalBlock.size() != 0)
    rows.globalBlocks.try_emplace(router, router, segments.globalBlock);
  for (PrefixSegment row : segments.prefixes) {
    row.rtridIs(router);
    rows.prefixSegments.try_emplace(row.key(), row);
  }
}

/// As many as a row holds.
std::vector<Tarn::Fib::Via> Router::viasOf(const IpRoute& route) const {
  constexpr std::size_t most = Tarn::Fib::ViaIndexRange::max + std::size_t{1};
  std::vector<Tarn::Fib::Via> vias;
  for (const Replay::NextHop& one : route.nextHops)
    if (vias.size() < most)
      vias.emplace_back(one.address, interfaces_.name(one.ifindex), one.imposed());
  return vias;
}

}  // namespace SrAgent
