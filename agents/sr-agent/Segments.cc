#include "agents/sr-agent/Segments.h"

#include <algorithm>

namespace SrAgent {

using Mpls::SegmentRouting::SegmentIdentifier;
using Netbase::MplsLabel;
using Replay::Node;
using Tarn::SegmentRouting::PfxSegmentFlags;

namespace {

constexpr std::uint32_t maxAge = 3600;  // seconds (RFC 2328)
constexpr const char* numberOf32Bits = "a number of 32 bits";

// ---- Configuration ------------------------------------------------------------------------------

/// Both spellings: that of config.json and that of events.
void lastHopIs(const Node& node, PfxSegmentFlags& flags) {
  const std::string& behaviour = node.text();
  flags.noPhpIs(behaviour == "no-php" || behaviour == "NoPhp");
  flags.explicitNullIs(behaviour == "explicit-null" || behaviour == "ExpNull");
  const bool pops = behaviour == "php" || behaviour == "Php";
  if (!pops && !flags.noPhp() && !flags.explicitNull()) node.refuse("no-php, explicit-null or php");
}

/// A prefix of one address is that of one router, unless somebody says otherwise.
PfxSegmentFlags flagsOf(const Netbase::IpGenPrefix& prefix, const std::optional<Node>& lastHop) {
  PfxSegmentFlags flags;
  flags.nodeIs(prefix.length() == prefix.address().bits());
  if (lastHop) lastHopIs(*lastHop, flags);
  return flags;
}

PrefixSegment segmentOfConfig(const Node& node) {
  PrefixSegment row(node.member("prefix").prefix());
  const auto type = node.find("value-type");
  const bool isValue = type && type->text() == "absolute";
  const Node sid = node.member("start-sid");
  row.sidIs({isValue ? sid.label().value() : sid.number(numberOf32Bits, UINT32_MAX), isValue});
  row.flagsIs(flagsOf(row.key(), node.find("last-hop-behavior")));
  return row;
}

Mpls::LabelRange rangeFrom(const Node& node, const char* lower, const char* upper) {
  const MplsLabel first = node.member(lower).label();
  const MplsLabel last = node.member(upper).label();
  if (last < first) node.refuse("a range that does not end before it begins");
  return {first, last.value() - first.value() + 1};
}

/// Of several ranges the first counts.
void takeFirst(Segments& segments, const Node& ranges, const char* lower, const char* upper) {
  ranges.eachItem([&](const Node& one) {
    const Mpls::LabelRange range = rangeFrom(one, lower, upper);
    if (segments.globalBlock.size() == 0) segments.globalBlock = range;
  });
}

}  // namespace

Mpls::RouterId routerIdFrom(const Node& node) {
  const auto address = Netbase::IpAddr::fromText(node.text());
  if (!address) node.refuse("a router identifier such as 10.0.0.1");
  return {Mpls::mplste_, address->value(), 0};
}

Segments segmentsOfConfig(const Node& config) {
  Segments segments;
  const auto part = config.findBelow(
      "ietf-routing:routing/ietf-segment-routing:segment-routing/"
      "ietf-segment-routing-mpls:sr-mpls");
  if (!part) return segments;
  if (const auto ranges = part->findBelow("srgb/srgb"))
    takeFirst(segments, *ranges, "lower-bound", "upper-bound");
  if (const auto sids = part->findBelow("bindings/connected-prefix-sid-map/connected-prefix-sid"))
    sids->eachItem([&](const Node& one) { segments.prefixes.push_back(segmentOfConfig(one)); });
  return segments;
}

/// Prefixes come as [["10.0.0.1/32", "Spf"], {"index": 1, "last_hop": "NoPhp"}].
Segments segmentsOfUpdate(const Node& update) {
  Segments segments;
  if (const auto ranges = update.find("srgb"))
    takeFirst(segments, *ranges, "lower_bound", "upper_bound");
  if (const auto sids = update.find("prefix_sids"))
    sids->eachItem([&](const Node& one) {
      const Node sid = one.item(1);
      PrefixSegment row(one.item(0).item(0).prefix());
      row.sidIs({sid.member("index").number(numberOf32Bits, UINT32_MAX), false});
      row.flagsIs(flagsOf(row.key(), sid.find("last_hop")));
      segments.prefixes.push_back(row);
    });
  return segments;
}

// ---- LSAs ---------------------------------------------------------------------------------------

namespace {

/// Whether one of "NP | E" is `flag`.
bool has(const std::optional<Node>& flags, std::string_view flag) {
  if (!flags) return false;
  for (std::string_view left = flags->text(); !left.empty();) {
    const std::string_view one = left.substr(0, left.find(" | "));
    if (one == flag) return true;
    left.remove_prefix(std::min(left.size(), one.size() + 3));
  }
  return false;
}

/// {"Index": 20} or {"Label": 16}.
SegmentIdentifier sidFrom(const Node& node) {
  if (const auto label = node.find("Label")) return {label->label().value(), true};
  return {node.member("Index").number(numberOf32Bits, UINT32_MAX), false};
}

/// One prefix of an extended prefix LSA; nothing without a segment of the usual algorithm.
void takePrefix(const Node& prefix, Segments& segments) {
  const auto sid = prefix.findBelow("prefix_sids/Spf");
  if (!sid) return;
  const auto flags = sid->find("flags");
  const auto routeType = prefix.find("route_type");
  PrefixSegment row(prefix.member("prefix").prefix());
  row.sidIs(sidFrom(sid->member("sid")));
  PfxSegmentFlags found;
  found.noPhpIs(has(flags, "NP"));
  found.explicitNullIs(has(flags, "E"));
  found.nodeIs(has(prefix.find("flags"), "N"));
  found.proxyIs(has(flags, "M"));
  found.reAdvertIs(routeType && routeType->text() == "InterArea");
  found.isLocalIs(has(flags, "L"));
  row.flagsIs(found);
  segments.prefixes.push_back(row);
}

/// One item of "srgb": {"first": {"Label": 16000}, "range": 8000}.
Mpls::LabelRange advertisedRange(const Node& node) {
  const MplsLabel base = node.member("first").member("Label").label();
  const std::uint32_t most = MplsLabel::max + 1 - base.value();
  return {base, node.member("range").number("a size up to the last label", most)};
}

/// The body of an opaque LSA, {"OpaqueArea": {"RouterInfo": ...}}.
Segments segmentsOfLsa(const Node& opaque) {
  Segments segments;
  if (!opaque.isObject()) return segments;
  if (const auto ranges = opaque.findBelow("RouterInfo/srgb"))
    ranges->eachItem([&](const Node& one) {
      const Mpls::LabelRange range = advertisedRange(one);
      if (segments.globalBlock.size() == 0) segments.globalBlock = range;
    });
  if (const auto prefixes = opaque.findBelow("ExtPrefix/prefixes"))
    prefixes->eachMember([&](const std::string&, const Node& one) { takePrefix(one, segments); });
  return segments;
}

}  // namespace

void LsaStore::take(const Node& protocolEvent) {
  if (!protocolEvent.isObject()) return;
  const auto packet = protocolEvent.find("NetRxPacket");
  const auto update = packet ? packet->findBelow("packet/Ok/LsUpdate/lsas") : std::nullopt;
  if (!update) return;
  const auto areaKey = packet->find("area_key");
  const std::string area = areaKey ? areaKey->json().dump() : "";
  update->eachItem([&](const Node& lsa) { takeLsa(area, lsa); });
}

/// Sequence numbers are signed (RFC 2328, section 12.1.6).
void LsaStore::takeLsa(const std::string& area, const Node& lsa) {
  const Node body = lsa.member("body");
  const std::string kind = body.kind();
  if (!kind.starts_with("Opaque")) return;
  const Node header = lsa.member("hdr");
  const Key key(routerIdFrom(header.member("adv_rtr")), header.member("lsa_id").text(), area);
  const auto sequence =
      static_cast<std::int32_t>(header.member("seq_no").number(numberOf32Bits, UINT32_MAX));
  const auto known = lsas_.find(key);
  if (known != lsas_.end() && known->second.sequence > sequence) return;
  if (header.member("age").number("an age in seconds", UINT16_MAX) >= maxAge) lsas_.erase(key);
  else lsas_.insert_or_assign(key, Lsa{sequence, segmentsOfLsa(body.member(kind))});
}

}  // namespace SrAgent
