#include "tools/mplsctl/LfibView.h"

#include <algorithm>
#include <string_view>
#include <variant>

#include "agents/common/Printable.h"
#include "mpls/lfib/LfibViaRow.h"
#include "tools/mplsctl/ValueText.h"

namespace MplsCtl {

namespace {

using Mpls::LfibMplsVia;
using Mpls::LfibStatus;
using Mpls::LfibViaKey;

constexpr int readsAtMost = 100;
constexpr const char* unusable = "no usable via";

// The rows of vias that are not of type viaTypeMplsIp, for people.

std::string briefText(const Mpls::LfibPwVia& row) {
  return std::string(row.pwIntfId().name()) + (row.controlWordPresent() ? " control word" : "");
}
std::string briefText(const Mpls::LfibIpLookupVia& row) {
  const std::string_view name = row.vrfNameBufferText();
  return (name.empty() ? "default VRF" : "VRF " + Agents::printable(name)) + " " +
         std::string(formaEnumName(row.addressFamily()));
}
std::string briefText(const Mpls::LfibEvpnEthernetSegmentFilterVia& row) {
  return std::string(row.intfId().name());
}
template <class Row>
std::string briefText(const Row& row) {
  if constexpr (requires { row.vlanId(); }) return "VLAN " + std::to_string(row.vlanId().value());
  else if constexpr (requires { row.dot1qTagToVlanKey(); })
    return "tag map " + std::to_string(row.dot1qTagToVlanKey().index());
  else return {};
}

LfibVia viaOf(const LfibStatus& lfib, const LfibViaKey& key) {
  LfibVia via{key, std::nullopt, {}, {}};
  Mpls::LfibViaRow found;
  if (!lfibViaRowFind(lfib, key, &found)) return via;
  if (const auto* row = std::get_if<LfibMplsVia>(&found)) via.mpls = *row;
  else
    std::visit(
        [&via](const auto& one) {
          via.other = Forma::valueToStrep(one).view();
          via.brief = briefText(one);
        },
        found);
  return via;
}

LfibEntry entryOf(const LfibStatus& lfib, const Mpls::LfibRoute& route) {
  LfibEntry entry{route, false, {}};
  Mpls::LfibViaSet viaSet;
  entry.hasViaSet = lfib.viaSetFind(route.viaSetKey(), &viaSet);
  if (!entry.hasViaSet) return entry;
  for (const LfibViaKey& key : viaSet.viaKeyIteratorConst()) entry.vias.push_back(viaOf(lfib, key));
  return entry;
}

bool isWhole(const LfibEntry& entry) {
  return entry.hasViaSet && std::ranges::all_of(entry.vias, &LfibVia::isThere);
}

// ---- Text --------------------------------------------------------------------------------------

std::string sourceOf(const LfibEntry& entry) {
  return nameWithout("lfibSource", entry.route.source());
}

std::string addressOf(const LfibMplsVia& via) {
  return via.nextHop().isSet() ? std::string(via.nextHop().stringValue()) : "-";
}

/// The outermost label first.
std::string labelsOf(const LfibMplsVia& via) {
  std::string text;
  for (std::size_t i = 0; i < via.labelStack().size(); ++i)
    text += (i == 0 ? "" : "/") + std::to_string(via.labelStack().label(i).value());
  return text.empty() ? "-" : text;
}

std::string intfOf(const LfibMplsVia& via) {
  return via.intf().empty() ? "-" : std::string(via.intf().name());
}

std::string textOf(const LfibVia& via) {
  if (!via.isThere()) return "via " + std::to_string(via.key.index()) + " missing";
  if (!via.mpls) return nameWithout("viaType", via.key.viaType()) + " " + via.brief;
  const LfibMplsVia& row = *via.mpls;
  std::string text = row.nextHop().isSet() ? "via " + addressOf(row) + " " : "";
  text += formaEnumName(row.labelAction());
  if (!row.labelStack().empty()) text += " " + labelsOf(row);
  if (!row.intf().empty()) text += " dev " + intfOf(row);
  if (row.weight() != 1) text += " weight " + std::to_string(row.weight());
  if (row.ttlMode() != Mpls::undefinedTtlMode_)
    text += " ttl " + std::string(formaEnumName(row.ttlMode()));
  return text;
}

}  // namespace

bool LfibEntry::isUsable() const { return std::ranges::any_of(vias, &LfibVia::isThere); }

std::optional<LfibEntry> lfibEntryOf(const LfibStatus& lfib, const Mpls::RouteKey& key) {
  Mpls::LfibRoute route;
  if (!lfib.lfibRouteFind(key, &route)) return std::nullopt;
  LfibEntry entry = entryOf(lfib, route);
  for (int reads = 1; !isWhole(entry) && reads < readsAtMost; ++reads) {
    Mpls::LfibRoute now;
    if (!lfib.lfibRouteFind(key, &now)) return std::nullopt;
    if (now == route) break;
    route = now;
    entry = entryOf(lfib, route);
  }
  return entry;
}

std::string lfibLine(const LfibEntry& entry) {
  std::string text;
  if (!entry.isUsable()) text = std::string(", ") + unusable;
  for (const LfibVia& via : entry.vias) text += ", " + textOf(via);
  return textOf(entry.route.key()) + " from " + sourceOf(entry) + ": " + text.substr(2);
}

std::string textOf(const Mpls::RouteKey& key) {
  return "label " + std::to_string(key.topLabel().value()) + " metric " +
         std::to_string(key.metric().value());
}

}  // namespace MplsCtl
