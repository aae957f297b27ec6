#include "agents/routes/SonicRoute.h"

#include <algorithm>
#include <array>

#include "agents/routes/Fields.h"

namespace StaticRoutes {

namespace {

using Netbase::IpGenAddr;
using Netbase::MplsLabel;

constexpr std::array<std::string_view, 7> knownFields{"nexthop", "ifname",    "mpls_nh", "mpls_pop",
                                                      "weight",  "blackhole", "protocol"};

std::vector<std::string_view> items(std::string_view list) {
  std::vector<std::string_view> out;
  for (std::size_t comma; (comma = list.find(',')) != std::string_view::npos;) {
    out.push_back(list.substr(0, comma));
    list.remove_prefix(comma + 1);
  }
  out.push_back(list);
  return out;
}

/// Reads the lists of one entry side by side.
class ViaReader {
 public:
  ViaReader(const SonicFields& fields, const std::string& pointer)
      : fields_(fields), pointer_(pointer) {}
  Vias read();

 private:
  using Items = std::vector<std::string_view>;

  [[noreturn]] void refuse(std::string_view field, std::string_view what,
                           std::string_view found) const {
    refuseAt(below(pointer_, field), expected(what, found));
  }
  void checkFields() const;
  Items list(const std::string& field) const;
  void checkSize(std::string_view field, const Items& list, std::size_t size) const;
  void gatewayIs(Mpls::Via& via, std::string_view item) const;
  void intfIs(Mpls::Via& via, std::string_view item) const;
  void actionIs(Mpls::Via& via, std::string_view item) const;
  void weightIs(Mpls::Via& via, std::string_view item) const;

  const SonicFields& fields_;
  const std::string& pointer_;
};

Vias ViaReader::read() {
  checkFields();
  const Items gateways = list("nexthop"), intfs = list("ifname");
  const Items actions = list("mpls_nh"), weights = list("weight");
  if (gateways.empty() && intfs.empty())
    refuseAt(pointer_, "expected nexthop or ifname, found neither");
  const std::size_t size = gateways.empty() ? intfs.size() : gateways.size();
  checkSize("ifname", intfs, size);
  checkSize("mpls_nh", actions, size);
  checkSize("weight", weights, size);
  Vias vias;
  for (std::size_t i = 0; i < size; ++i) {
    Mpls::Via via;
    if (!gateways.empty()) gatewayIs(via, gateways[i]);
    if (!intfs.empty()) intfIs(via, intfs[i]);
    if (!via.nextHop().isSet() && via.intf().empty())
      refuseAt(pointer_, "expected a gateway or an interface for each next hop, found neither");
    actionIs(via, actions.empty() ? "na" : actions[i]);
    if (!weights.empty()) weightIs(via, weights[i]);
    if (isFull(vias)) refuseAt(pointer_, "expected at most 511 next hops");
    if (!vias.insert(via).second)
      refuseAt(pointer_, "expected next hops that differ, found one that stands there twice");
  }
  return vias;
}

void ViaReader::checkFields() const {
  for (const auto& [name, value] : fields_)
    if (std::ranges::find(knownFields, name) == knownFields.end())
      refuse(name, "one of nexthop, ifname, mpls_nh, mpls_pop, weight and blackhole", name);
  if (const auto pop = fields_.find("mpls_pop"); pop != fields_.end() && pop->second != "1")
    refuse("mpls_pop", "\"1\", since a via cannot keep the incoming label", pop->second);
  const auto blackhole = fields_.find("blackhole");
  if (blackhole != fields_.end() && blackhole->second != "false" && blackhole->second != "0")
    refuse("blackhole", "no blackhole, since a route without vias cannot be held",
           blackhole->second);
}

/// The items of a field; none when there is no such field.
ViaReader::Items ViaReader::list(const std::string& field) const {
  const auto found = fields_.find(field);
  return found == fields_.end() ? Items() : items(found->second);
}

void ViaReader::checkSize(std::string_view field, const Items& list, std::size_t size) const {
  if (list.empty() || list.size() == size) return;
  refuseAt(below(pointer_, field), "expected " + std::to_string(size) +
                                       " items, one for each next hop, found " +
                                       std::to_string(list.size()));
}

void ViaReader::gatewayIs(Mpls::Via& via, std::string_view item) const {
  if (item.empty()) return;
  const auto address = IpGenAddr::fromText(item);
  if (!address || !address->isSet()) refuse("nexthop", "an IPv4 or IPv6 address", item);
  via.nextHopIs(*address);
}

void ViaReader::intfIs(Mpls::Via& via, std::string_view item) const {
  if (item.empty()) return;
  const auto intf = intfFromText(item);
  if (!intf) refuse("ifname", "an interface name of at most 15 bytes", item);
  via.intfIs(*intf);
}

void ViaReader::actionIs(Mpls::Via& via, std::string_view item) const {
  constexpr std::string_view swap = "swap";
  if (item == "na") return popIs(via);
  if (!item.starts_with(swap)) refuse("mpls_nh", "na or swap and a label", item);
  const std::string_view stack = item.substr(swap.size());
  if (stack.find('/') != std::string_view::npos)
    refuse("mpls_nh", "a single label, since a via holds no more", item);
  const auto label = numberFromText(stack);
  if (!label || *label > MplsLabel::max)
    refuse("mpls_nh", "swap and a label from 0 to 1048575", item);
  if (*label == implicitNull)
    refuse("mpls_nh", "a label that packets carry (to pop, write na)", item);
  swapIs(via, *label);
}

void ViaReader::weightIs(Mpls::Via& via, std::string_view item) const {
  const auto weight = numberFromText(item);
  if (!weight || *weight == 0) refuse("weight", "a weight from 1 to 4294967295", item);
  via.weightIs(*weight);
}

}  // namespace

void refuseAt(std::string pointer, std::string text) {
  throw Refusal{{{0, 0, std::move(pointer)}, std::move(text)}};
}

SonicFields sonicFields(const JsonTree& entry, const std::string& pointer) {
  if (entry.kind != JsonTree::Kind::object)
    refuseAt(pointer, "expected an object of fields, found " + std::string(nameOf(entry.kind)));
  SonicFields fields;
  for (const auto& [name, value] : entry.members) {
    if (value.kind != JsonTree::Kind::string)
      refuseAt(below(pointer, name), "expected a string, found " + std::string(nameOf(value.kind)));
    if (!fields.emplace(name, value.text).second)
      refuseAt(below(pointer, name), "expected each field once, found it twice");
  }
  return fields;
}

Vias sonicVias(const SonicFields& fields, const std::string& pointer) {
  return ViaReader(fields, pointer).read();
}

}  // namespace StaticRoutes
