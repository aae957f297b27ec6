#include "agents/routes/RouteText.h"
#include "agents/static-routes/Report.h"

namespace StaticRoutes {

namespace {

class TextReport : public Report {
 public:
  TextReport(std::ostream& out, std::ostream& log) : out_(out), log_(log) {}

  void tableIs(const MergedView& merged, const ConfigView& config,
               const std::vector<FileDiagnostic>&) override {
    out_ << "Merged routes: " << merged.routes.size() << '\n';
    if (!merged.routes.empty()) Agents::printTable(out_, routeRows(merged.routes));
    out_ << "\nWithheld conflicts: " << merged.conflicts.size() << '\n';
    if (!merged.conflicts.empty()) Agents::printTable(out_, conflictRows(merged.conflicts));
    if (config != ConfigView()) {
      out_ << '\n';
      printConfig(config);
    }
    out_.flush();
  }

  void changeIs(const Change& change) override { out_ << changeLine(change) << std::endl; }

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
      out_ << "Label range " << name << ": " << rangeText(range) << '\n';
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
