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

Json rangeJson(const std::string& name, const Mpls::LabelRange& range) {
  return {{"name", name}, {"base", range.base().value()}, {"size", range.size()}};
}

class JsonReport : public Report {
 public:
  JsonReport(std::ostream& out, std::ostream& log, bool lines)
      : out_(out), log_(log), lines_(lines) {}

  void tableIs(const MergedView& merged, const ConfigView& config,
               const std::vector<FileDiagnostic>& errors) override {
    begin("table");
    list("routes", merged.routes, [](auto& one) { return routeJson(one.first, one.second); });
    list("conflicts", merged.conflicts,
         [](auto& one) { return conflictJson(one.first, one.second); });
    configLists(config);
    list("errors", errors, errorJson);
    end();
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
    begin("config");
    configLists(config);
    end();
  }

  void errorIs(const FileDiagnostic& error) override {
    log_ << lineOf(error.file, error.diagnostic) + '\n' << std::flush;
    if (tableWritten_) event("error", errorJson(error));
  }

  void noticeIs(const std::string& file, const std::string& text) override {
    event("notice", {{"file", file}, {"text", text}});
  }

 private:
  void event(std::string_view name, const Json& content) {
    begin(name);
    for (const auto& [member, value] : content.items()) memberIs(member, textOf(value));
    end();
  }

  // A document is written as it comes: a tree of a million routes would take gigabytes.
  void begin(std::string_view event) {
    out_ << '{';
    separator_ = "";
    if (lines_) memberIs("event", textOf(event));
  }
  void memberIs(std::string_view name, const std::string& text) {
    out_ << separator_ << newline() << '"' << name << "\":" << text;
    separator_ = ",";
  }
  void list(std::string_view name, const auto& items, auto jsonOf) {
    memberIs(name, "[");
    separator_ = "";
    for (const auto& one : items) {
      out_ << separator_ << newline() << textOf(jsonOf(one));
      separator_ = ",";
    }
    out_ << ']';
    separator_ = ",";
  }
  void configLists(const ConfigView& config) {
    list("labelRanges", config.labelRanges,
         [](auto& one) { return rangeJson(one.first, one.second); });
    list("disabledInterfaces", config.disabledIntfs,
         [](auto& intf) { return Json(std::string(intf.name())); });
  }
  void end() { out_ << newline() << '}' << std::endl; }

  std::string_view newline() const { return lines_ ? "" : "\n"; }
  /// Names of files and interfaces may be no UTF-8: such bytes are replaced.
  static std::string textOf(const Json& json) {
    return json.dump(-1, ' ', false, Json::error_handler_t::replace);
  }

  std::ostream& out_;
  std::ostream& log_;
  const bool lines_;
  std::string_view separator_;  // before the next member or item
  bool tableWritten_ = false;   // until then errors are part of the table
};

}  // namespace

std::unique_ptr<Report> jsonReport(std::ostream& out, std::ostream& log, bool lines) {
  return std::make_unique<JsonReport>(out, log, lines);
}

}  // namespace StaticRoutes
