#include "agents/routes/RouteText.h"

#include <array>
#include <string_view>

namespace StaticRoutes {

namespace {

using Agents::Row;

std::string addressOf(const Mpls::Via& via) {
  return via.nextHop().isSet() ? std::string(via.nextHop().stringValue()) : "-";
}

std::string labelOf(const Mpls::Via& via) {
  const auto label = via.outLabel().value();
  return label <= Netbase::MplsLabel::max ? std::to_string(label) : "-";
}

std::string intfOf(const Mpls::Via& via) {
  return via.intf().empty() ? "-" : std::string(via.intf().name());
}

/// The columns of a via, from next hop to weight.
Row cellsOf(const Mpls::Via& via) {
  return {addressOf(via), std::string(formaEnumName(via.labelAction())), labelOf(via), intfOf(via),
          std::to_string(via.weight())};
}

std::string textOf(const Mpls::Via& via) {
  std::string out = via.nextHop().isSet() ? "via " + addressOf(via) + " " : "";
  out += formaEnumName(via.labelAction());
  if (labelOf(via) != "-") out += " " + labelOf(via);
  if (!via.intf().empty()) out += " dev " + intfOf(via);
  if (via.weight() != 1) out += " weight " + std::to_string(via.weight());
  if (via.ttlMode() != Mpls::undefinedTtlMode_)
    out += " ttl " + std::string(formaEnumName(via.ttlMode()));
  return out;
}

std::string textOf(const Vias& vias) {
  std::string out;
  for (const Mpls::Via& via : vias) out += (out.empty() ? "" : ", ") + textOf(via);
  return out;
}

std::string textOf(const Claimants& claimants) {
  std::string out;
  for (const std::string& one : claimants) out += (out.empty() ? "" : ", ") + printable(one);
  return out;
}

std::string textOf(const Mpls::RouteKey& key) {
  return "label " + std::to_string(key.topLabel().value()) + " metric " +
         std::to_string(key.metric().value());
}

std::string sourceText(const RouteView& route) {
  return route.source.empty() ? "-" : printable(route.source);
}

Row keyCells(const Mpls::RouteKey& key) {
  return {std::to_string(key.topLabel().value()), std::to_string(key.metric().value())};
}

}  // namespace

std::vector<Row> routeRows(const std::map<Mpls::RouteKey, RouteView>& routes) {
  std::vector<Row> rows{
      {"LABEL", "METRIC", "NEXT HOP", "OPERATION", "OUT LABEL", "INTERFACE", "WEIGHT", "SOURCE"}};
  for (const auto& [key, route] : routes) {
    for (const Mpls::Via& via : route.vias) {
      Row row = keyCells(key);
      for (std::string& cell : cellsOf(via)) row.push_back(std::move(cell));
      row.push_back(sourceText(route));
      rows.push_back(std::move(row));
    }
  }
  return rows;
}

std::vector<Row> conflictRows(const std::map<Mpls::RouteKey, Claimants>& conflicts) {
  std::vector<Row> rows{{"LABEL", "METRIC", "CLAIMED BY"}};
  for (const auto& [key, claimants] : conflicts) {
    Row row = keyCells(key);
    row.push_back(textOf(claimants));
    rows.push_back(std::move(row));
  }
  return rows;
}

std::string changeLine(const Change& change) {
  static constexpr std::array<std::string_view, 6> words{
      "removed", "conflict ended", "added", "changed", "conflict", "conflict changed"};
  std::string line(words[static_cast<std::size_t>(change.kind)]);
  line += ": " + textOf(change.key);
  if (!change.claimants.empty()) return line + " claimed by " + textOf(change.claimants);
  return line + " from " + sourceText(change.route) + ": " + textOf(change.route.vias);
}

std::string rangeText(const Mpls::LabelRange& range) {
  return std::to_string(range.base().value()) + "-" +
         std::to_string(range.base().value() + range.size() - 1);
}

}  // namespace StaticRoutes
