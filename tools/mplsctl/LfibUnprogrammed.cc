/// `mplsctl lfib unprogrammed`: the routes that the forwarding agent cannot forward, and why.
#include <iostream>
#include <map>
#include <string_view>

#include "agents/common/ExitCode.h"
#include "agents/common/Log.h"
#include "agents/common/Printable.h"
#include "agents/common/Table.h"
#include "mpls/lfib/LfibHwReasonStatus.h"
#include "mpls/lfib/LfibHwStatus.h"
#include "platform/tarn/DirectoryStorage.h"
#include "tools/mplsctl/Options.h"
#include "tools/mplsctl/WriterText.h"

namespace MplsCtl {

namespace {

using Agents::Json;
using Mpls::UnprogrammedReason;

/// A route key that is not forwarded as it stands: its code, and what is wrong in which LFIB.
struct Unprogrammed {
  Mpls::LfibHwProgrammingReturnCode code = Mpls::programmed_;
  std::vector<UnprogrammedReason> reasons;
};
using AllUnprogrammed = std::map<Mpls::RouteKey, Unprogrammed>;

/// The tables of a forwarding agent.
class Reader {
 public:
  explicit Reader(const Options& options)
      : log_(options.name),
        directory_(
            loop_,
            options.forwarding.empty() ? Agents::forwardingTables(options.run) : options.forwarding,
            [this](const std::string& text) { reports_.push_back(text); }) {
    FormaTarn::attachReader(*hwStatus_, directory_);
    FormaTarn::attachReader(*reasons_, directory_);
  }

  /// Says what is missing when the tables do not come.
  bool await(double seconds) {
    loop_.runUntilIdle();  // who writes is known then
    const auto attached = [this] {
      return view().isAttached() && reasons_->unprogrammedReasonTable().view().isAttached();
    };
    if (loop_.runUntil(attached, seconds)) return true;
    tellReports();
    log_.say(
        directory_.path() +
        ": no tables of a forwarding agent; start forwarding-agent, or tell with --table where "
        "it writes");
    return false;
  }
  AllUnprogrammed read() const {
    AllUnprogrammed all;
    for (const auto& [key, row] : hwStatus_->unprogrammedRouteIteratorConst())
      all[key].code = row.status();
    for (const auto& [key, row] : reasons_->unprogrammedReasonIteratorConst())
      all[key.routeKey()].reasons.push_back(row);
    for (auto& [key, one] : all)
      std::ranges::sort(one.reasons, {}, [](const UnprogrammedReason& row) { return row.key(); });
    return all;
  }
  /// Whether damage was met, which is told.
  bool tellReports() {
    for (const std::string& text : reports_) log_.say(text);
    return !reports_.empty();
  }
  const Tarn::ReaderDirectory& directory() const { return directory_; }
  const Tarn::TableView& view() const { return hwStatus_->unprogrammedRouteTable().view(); }

 private:
  Agents::Log log_;
  Kiln::EventLoop loop_;
  std::vector<std::string> reports_;
  Tarn::ReaderDirectory directory_;
  const Forma::Ptr<Mpls::LfibHwStatus> hwStatus_ = Mpls::lfibHwStatusFactory("hw");
  const Forma::Ptr<Mpls::LfibHwReasonStatus> reasons_ = Mpls::lfibHwReasonStatusFactory("reasons");
};

/// "reasonViaSetMissing" as "ViaSetMissing"; a number of a newer writer as such.
template <class Enum>
std::string nameWithout(std::string_view prefix, Enum value) {
  const std::string_view name = formaEnumName(value);
  return name.starts_with(prefix) ? std::string(name.substr(prefix.size())) : std::to_string(value);
}

void printText(const Reader& reader, const AllUnprogrammed& all) {
  std::cout << Agents::printable(reader.directory().path()) << ": " << all.size()
            << " unprogrammed routes; "
            << Agents::printable(writerText(reader.directory(), reader.view())) << '\n';
  if (all.empty()) return;
  Agents::TableStream table(std::cout, {"LABEL", "METRIC", "CODE", "LFIB", "SOURCE", "REASON"});
  for (const auto& [key, one] : all) {
    const Agents::Row route{std::to_string(key.topLabel().value()),
                            std::to_string(key.metric().value()),
                            std::string(formaEnumName(one.code))};
    for (const UnprogrammedReason& row : one.reasons) {
      Agents::Row cells = route;
      cells.insert(cells.end(),
                   {std::to_string(row.key().lfib()), nameWithout("lfibSource", row.source()),
                    nameWithout("reason", row.reason())});
      table.add(std::move(cells));
    }
  }
  table.end();
}

void printJson(const Reader& reader, const AllUnprogrammed& all) {
  Agents::JsonWriter writer(std::cout, false);
  writer.begin();
  writer.members(directoryJson(reader.directory(), reader.view()));
  writer.list("unprogrammed", all, [](const auto& pair) {
    const auto& [key, one] = pair;
    Json json = {{"label", key.topLabel().value()},
                 {"metric", key.metric().value()},
                 {"code", formaEnumName(one.code)},
                 {"reasons", Json::array()}};
    for (const UnprogrammedReason& row : one.reasons)
      json["reasons"].push_back({{"lfib", row.key().lfib()},
                                 {"source", formaEnumName(row.source())},
                                 {"reason", formaEnumName(row.reason())}});
    return json;
  });
  writer.end();
}

}  // namespace

int lfibUnprogrammed(const Options& options) {
  Tarn::busErrorsAreHandled();
  Reader reader(options);
  if (!reader.await(options.timeout)) return Agents::exitDatabase;
  const AllUnprogrammed all = reader.read();
  (options.json ? printJson : printText)(reader, all);
  return reader.tellReports() ? Agents::exitFault : Agents::exitGood;
}

}  // namespace MplsCtl
