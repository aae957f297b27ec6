#include <algorithm>
#include <array>

#include "agents/static-routes/Report.h"

namespace StaticRoutes {

namespace {

using Kind = Change::Kind;
using Row = std::vector<std::string>;

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
  for (const std::string& one : claimants) out += (out.empty() ? "" : ", ") + one;
  return out;
}

std::string textOf(const Mpls::RouteKey& key) {
  return "label " + std::to_string(key.topLabel().value()) + " metric " +
         std::to_string(key.metric().value());
}

std::string textOf(const Mpls::LabelRange& range) {
  return std::to_string(range.base().value()) + "-" +
         std::to_string(range.base().value() + range.size() - 1);
}

Row keyCells(const Mpls::RouteKey& key) {
  return {std::to_string(key.topLabel().value()), std::to_string(key.metric().value())};
}

/// Columns as wide as their widest cell, two blanks apart.
void print(std::ostream& out, const std::vector<Row>& rows) {
  std::vector<std::size_t> widths(rows.front().size());
  for (const Row& row : rows)
    for (std::size_t i = 0; i < row.size(); ++i) widths[i] = std::max(widths[i], row[i].size());
  for (const Row& row : rows) {
    std::string line;
    for (std::size_t i = 0; i < row.size(); ++i) {
      line += row[i];
      if (i + 1 < row.size()) line.append(widths[i] + 2 - row[i].size(), ' ');
    }
    out << line << '\n';
  }
}

std::vector<Row> rowsOf(const std::map<Mpls::RouteKey, RouteView>& routes) {
  std::vector<Row> rows{
      {"LABEL", "METRIC", "NEXT HOP", "OPERATION", "OUT LABEL", "INTERFACE", "WEIGHT", "SOURCE"}};
  for (const auto& [key, route] : routes) {
    for (const Mpls::Via& via : route.vias) {
      Row row = keyCells(key);
      for (std::string& cell : cellsOf(via)) row.push_back(std::move(cell));
      row.push_back(route.source);
      rows.push_back(std::move(row));
    }
  }
  return rows;
}

std::vector<Row> rowsOf(const std::map<Mpls::RouteKey, Claimants>& conflicts) {
  std::vector<Row> rows{{"LABEL", "METRIC", "CLAIMED BY"}};
  for (const auto& [key, claimants] : conflicts) {
    Row row = keyCells(key);
    row.push_back(textOf(claimants));
    rows.push_back(std::move(row));
  }
  return rows;
}

class TextReport : public Report {
 public:
  TextReport(std::ostream& out, std::ostream& log) : out_(out), log_(log) {}

  void tableIs(const MergedView& merged, const ConfigView& config,
               const std::vector<FileDiagnostic>&) override {
    out_ << "Merged routes: " << merged.routes.size() << '\n';
    if (!merged.routes.empty()) print(out_, rowsOf(merged.routes));
    out_ << "\nWithheld conflicts: " << merged.conflicts.size() << '\n';
    if (!merged.conflicts.empty()) print(out_, rowsOf(merged.conflicts));
    if (config != ConfigView()) {
      out_ << '\n';
      printConfig(config);
    }
    out_.flush();
  }

  void changeIs(const Change& change) override {
    static constexpr std::array<std::string_view, 6> words{
        "removed", "conflict ended", "added", "changed", "conflict", "conflict changed"};
    out_ << words[static_cast<std::size_t>(change.kind)] << ": " << textOf(change.key);
    if (!change.claimants.empty()) out_ << " claimed by " << textOf(change.claimants);
    else out_ << " from " << change.route.source << ": " << textOf(change.route.vias);
    out_ << std::endl;
  }

  void configIs(const ConfigView& config) override {
    printConfig(config);
    if (config == ConfigView()) out_ << "No label ranges, no interfaces without MPLS\n";
    out_.flush();
  }

  void errorIs(const FileDiagnostic& error) override {
    log_ << lineOf(error.file, error.diagnostic) + '\n' << std::flush;
  }

  void noticeIs(const std::string& file, const std::string& text) override {
    log_ << file << ": " << text << std::endl;
  }

 private:
  void printConfig(const ConfigView& config) {
    for (const auto& [name, range] : config.labelRanges)
      out_ << "Label range " << name << ": " << textOf(range) << '\n';
    for (const Netbase::IntfId& intf : config.disabledIntfs)
      out_ << "MPLS is off on interface " << intf.name() << '\n';
  }

  std::ostream& out_;
  std::ostream& log_;
};

}  // namespace

Report::~Report() = default;

std::unique_ptr<Report> textReport(std::ostream& out, std::ostream& log) {
  return std::make_unique<TextReport>(out, log);
}

}  // namespace StaticRoutes
