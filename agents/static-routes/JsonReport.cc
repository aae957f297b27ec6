#include <array>
#include <nlohmann/json.hpp>

#include "agents/static-routes/Report.h"

namespace StaticRoutes {

namespace {

using Json = nlohmann::ordered_json;

Json keyJson(const Mpls::RouteKey& key) {
  return {{"label", key.topLabel().value()}, {"metric", key.metric().value()}};
}

/// What a via does not have is absent.
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

Json errorJson(const FileDiagnostic& error) {
  Json json = {{"file", error.file}};
  const Place& place = error.diagnostic.place;
  if (place.line != 0) {
    json["line"] = place.line;
    json["column"] = place.column;
  } else if (!place.pointer.empty()) {
    json["pointer"] = place.pointer;
  }
  json["text"] = error.diagnostic.text;
  return json;
}

void addConfig(Json& json, const ConfigView& config) {
  json["labelRanges"] = Json::array();
  for (const auto& [name, range] : config.labelRanges)
    json["labelRanges"].push_back(
        {{"name", name}, {"base", range.base().value()}, {"size", range.size()}});
  json["disabledInterfaces"] = Json::array();
  for (const Netbase::IntfId& intf : config.disabledIntfs)
    json["disabledInterfaces"].push_back(intf.name());
}

class JsonReport : public Report {
 public:
  JsonReport(std::ostream& out, std::ostream& log, bool lines)
      : out_(out), log_(log), lines_(lines) {}

  void tableIs(const MergedView& merged, const ConfigView& config,
               const std::vector<FileDiagnostic>& errors) override {
    Json json = Json::object();
    if (lines_) json["event"] = "table";
    json["routes"] = Json::array();
    for (const auto& [key, route] : merged.routes) json["routes"].push_back(routeJson(key, route));
    json["conflicts"] = Json::array();
    for (const auto& [key, claimants] : merged.conflicts)
      json["conflicts"].push_back(conflictJson(key, claimants));
    addConfig(json, config);
    json["errors"] = Json::array();
    for (const FileDiagnostic& error : errors) json["errors"].push_back(errorJson(error));
    write(json);
    tableWritten_ = true;
  }

  void changeIs(const Change& change) override {
    static constexpr std::array<std::string_view, 6> events{"routeRemoved",  "conflictEnded",
                                                            "routeAdded",    "routeChanged",
                                                            "conflictBegan", "conflictChanged"};
    event(events[static_cast<std::size_t>(change.kind)],
          change.claimants.empty() ? routeJson(change.key, change.route)
                                   : conflictJson(change.key, change.claimants));
  }

  void configIs(const ConfigView& config) override {
    Json json = Json::object();
    addConfig(json, config);
    event("config", json);
  }

  void errorIs(const FileDiagnostic& error) override {
    log_ << lineOf(error.file, error.diagnostic) << std::endl;
    if (tableWritten_) event("error", errorJson(error));
  }

  void noticeIs(const std::string& file, const std::string& text) override {
    event("notice", {{"file", file}, {"text", text}});
  }

 private:
  void event(std::string_view name, const Json& content) {
    Json json = {{"event", name}};
    json.update(content);
    write(json);
  }

  /// Names of files and interfaces may be no UTF-8: such bytes are replaced.
  void write(const Json& json) {
    out_ << json.dump(lines_ ? -1 : 2, ' ', false, Json::error_handler_t::replace) << std::endl;
  }

  std::ostream& out_;
  std::ostream& log_;
  const bool lines_;
  bool tableWritten_ = false;  // until then errors are part of the table
};

}  // namespace

std::unique_ptr<Report> jsonReport(std::ostream& out, std::ostream& log, bool lines) {
  return std::make_unique<JsonReport>(out, log, lines);
}

}  // namespace StaticRoutes
