#include "agents/routes/RouteJson.h"

#include <array>

namespace StaticRoutes {

namespace {

Json keyJson(const Mpls::RouteKey& key) {
  return {{"label", key.topLabel().value()}, {"metric", key.metric().value()}};
}

Json viaJson(const Mpls::Via& via) {
  Json json = Json::object();
  if (via.nextHop().isSet()) json["nextHop"] = std::string(via.nextHop().stringValue());
  json["operation"] = formaEnumName(via.labelAction());
  if (via.outLabel().value() <= Netbase::MplsLabel::max) json["outLabel"] = via.outLabel().value();
  if (!via.intf().empty()) json["interface"] = via.intf().name();
  json["weight"] = via.weight();
  if (via.ttlMode() != Mpls::undefinedTtlMode_) json["ttlMode"] = formaEnumName(via.ttlMode());
  return json;
}

}  // namespace

Json routeJson(const Mpls::RouteKey& key, const RouteView& route) {
  Json json = keyJson(key);
  json["source"] = route.source;
  json["vias"] = Json::array();
  for (const Mpls::Via& via : route.vias) json["vias"].push_back(viaJson(via));
  return json;
}

Json conflictJson(const Mpls::RouteKey& key, const Claimants& claimants) {
  Json json = keyJson(key);
  json["sources"] = claimants;
  return json;
}

Json changeJson(const Change& change) {
  static constexpr std::array<std::string_view, 6> events{"routeRemoved",  "conflictEnded",
                                                          "routeAdded",    "routeChanged",
                                                          "conflictBegan", "conflictChanged"};
  Json json = {{"event", events[static_cast<std::size_t>(change.kind)]}};
  json.update(change.claimants.empty() ? routeJson(change.key, change.route)
                                       : conflictJson(change.key, change.claimants));
  return json;
}

}  // namespace StaticRoutes
