#include "agents/common/JsonWriter.h"
#include "agents/routes/RouteJson.h"
#include "agents/static-routes/Report.h"

namespace StaticRoutes {

namespace {

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
      : writer_(out, lines), log_(log), lines_(lines) {}

  void tableIs(const MergedView& merged, const ConfigView& config,
               const std::vector<FileDiagnostic>& errors) override {
    begin("table");
    writer_.list("routes", merged.routes,
                 [](auto& one) { return routeJson(one.first, one.second); });
    writer_.list("conflicts", merged.conflicts,
                 [](auto& one) { return conflictJson(one.first, one.second); });
    configLists(config);
    writer_.list("errors", errors, errorJson);
    writer_.end();
    tableWritten_ = true;
  }

  void changeIs(const Change& change) override { document(changeJson(change)); }

  void configIs(const ConfigView& config) override {
    begin("config");
    configLists(config);
    writer_.end();
  }

  void errorIs(const FileDiagnostic& error) override {
    log_ << lineOf(error.file, error.diagnostic) + '\n' << std::flush;
    if (!tableWritten_) return;
    Json json = {{"event", "error"}};
    json.update(errorJson(error));
    document(json);
  }

  void noticeIs(const std::string& file, const std::string& text) override {
    document({{"event", "notice"}, {"file", file}, {"text", text}});
  }

 private:
  void document(const Json& json) {
    writer_.begin();
    writer_.members(json);
    writer_.end();
  }
  void begin(std::string_view event) {
    writer_.begin();
    if (lines_) writer_.member("event", event);
  }
  void configLists(const ConfigView& config) {
    writer_.list("labelRanges", config.labelRanges,
                 [](auto& one) { return rangeJson(one.first, one.second); });
    writer_.list("disabledInterfaces", config.disabledIntfs,
                 [](auto& intf) { return Json(std::string(intf.name())); });
  }

  Agents::JsonWriter writer_;
  std::ostream& log_;
  const bool lines_;
  bool tableWritten_ = false;  // until then errors are part of the table
};

}  // namespace

std::unique_ptr<Report> jsonReport(std::ostream& out, std::ostream& log, bool lines) {
  return std::make_unique<JsonReport>(out, log, lines);
}

}  // namespace StaticRoutes
