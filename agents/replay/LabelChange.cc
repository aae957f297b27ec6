#include "agents/replay/LabelChange.h"

#include <array>
#include <span>

namespace Replay {

namespace {

Mpls::LabelStack labelsFrom(const Node& array) {
  std::array<Netbase::MplsLabel, Mpls::LabelStack::maxLabels()> labels;
  std::size_t count = 0;
  array.eachItem([&](const Node& one) {
    if (count == labels.size()) array.refuse("at most 16 labels");
    labels[count++] = one.label();
  });
  return Mpls::LabelStack(std::span(labels).first(count));
}

/// {"Address": {"ifindex", "addr", "labels"}} or {"Interface": {"ifindex"}}.
NextHop nextHopFrom(const Node& node) {
  const std::string kind = node.kind();
  if (kind != "Address" && kind != "Interface") node.refuse("a next hop: Address or Interface");
  const Node hop = node.member(kind);
  NextHop nextHop;
  nextHop.ifindex = hop.member("ifindex").number("a number of 32 bits", UINT32_MAX);
  if (kind == "Address") nextHop.address = hop.member("addr").address();
  if (const auto labels = hop.find("labels")) nextHop.labels = labelsFrom(*labels);
  return nextHop;
}

/// ["ospfv2", "10.0.0.1/32"]: who has the route, and the route.
Mpls::FwdEqvClass fecFrom(const std::optional<Node>& route) {
  return route ? Mpls::FwdEqvClass(route->item(1).prefix()) : Mpls::FwdEqvClass();
}

}  // namespace

Mpls::LabelStack NextHop::imposed() const {
  return labels == Mpls::LabelStack(implicitNull) ? Mpls::LabelStack() : labels;
}

std::vector<NextHop> nextHopsFrom(const Node& array) {
  std::vector<NextHop> nextHops;
  array.eachItem([&](const Node& one) { nextHops.push_back(nextHopFrom(one)); });
  return nextHops;
}

std::optional<LabelChange> labelChangeFrom(const Node& ibus) {
  if (!ibus.isObject()) return std::nullopt;
  const auto add = ibus.find("RouteMplsAdd");
  const auto install = add ? add : ibus.find("RouteMplsDel");
  if (!install) return std::nullopt;
  LabelChange change;
  change.label = install->member("label").label();
  change.nextHops = nextHopsFrom(install->member("nexthops"));
  change.fec = fecFrom(install->find("route"));
  if (const auto protocol = install->find("protocol")) change.protocol = protocol->text();
  if (!add) change.kind = LabelChange::Kind::remove;
  else if (const auto replace = install->find("replace"); replace && replace->boolean())
    change.kind = LabelChange::Kind::replace;
  return change;
}

}  // namespace Replay
