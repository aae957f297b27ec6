/// `mplsctl lfib unprogrammed`: the routes that the forwarding agent cannot forward, and why.
#include <map>
#include <string_view>

#include "mpls/lfib/LfibHwReasonStatus.h"
#include "mpls/lfib/LfibHwStatus.h"
#include "platform/tarn/DirectoryStorage.h"
#include "tools/mplsctl/Commands.h"
#include "tools/mplsctl/Output.h"
#include "tools/mplsctl/TableReports.h"
#include "tools/mplsctl/ValueText.h"
#include "tools/mplsctl/WriterText.h"

namespace MplsCtl {

namespace {

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
      : reports_(options), directory_(loop_, pathFor(options), reports_.of(pathFor(options))) {
    FormaTarn::attachReader(*hwStatus_, directory_);
    FormaTarn::attachReader(*reasons_, directory_);
  }

  /// Says what is missing when the tables do not come.
  bool await(double seconds) {
    loop_.runUntilIdle();  // who writes is known then
    const auto attached = [this] {
      return view().isAttached() && reasons_->unprogrammedReasonTable().view().isAttached();
    };
    if (loop_.runUntil(attached, seconds)) {
      reports_.attached();
      return true;
    }
    reports_.tellMissing({directory_.path()},
                         "no tables of a forwarding agent; start forwarding-agent, or tell with "
                         "--table where it writes");
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
  /// The exit code so far.
  int exitCode() const { return reports_.exitCode(); }
  const Tarn::ReaderDirectory& directory() const { return directory_; }
  const Tarn::TableView& view() const { return hwStatus_->unprogrammedRouteTable().view(); }

 private:
  static std::string pathFor(const Options& options) {
    return options.forwarding.empty() ? Agents::forwardingTables(options.run) : options.forwarding;
  }

  TableReports reports_;
  Kiln::EventLoop loop_;
  Tarn::ReaderDirectory directory_;
  const Forma::Ptr<Mpls::LfibHwStatus> hwStatus_ = Mpls::lfibHwStatusFactory("hw");
  const Forma::Ptr<Mpls::LfibHwReasonStatus> reasons_ = Mpls::lfibHwReasonStatusFactory("reasons");
};

constexpr Column reasonColumns[] = {
    {"lfib", "LFIB", Kind::number}, {"source", "SOURCE"}, {"reason", "REASON"}};
std::span<const Column> reasonColumnsOf() { return reasonColumns; }
constexpr Column columns[] = {{"label", "LABEL", Kind::number},
                              {"metric", "METRIC", Kind::number},
                              {"code", "CODE"},
                              {"reasons", "", Kind::records, reasonColumnsOf}};
constexpr RecordType unprogrammedType{"unprogrammed", columns, 2};

void fillRecord(Record& record, const Mpls::RouteKey& key, const Unprogrammed& one) {
  record.clear();
  record.number(key.topLabel().value()).number(key.metric().value());
  record.text(formaEnumName(one.code), Cell::State::fault);
  record.recordsBegin();
  for (const UnprogrammedReason& row : one.reasons)
    record.number(row.key().lfib())
        .text(nameWithout("lfibSource", row.source()))
        .text(nameWithout("reason", row.reason()));
  record.recordsEnd();
}

}  // namespace

RecordTypes unprogrammedTypes() {
  static constexpr const RecordType* types[] = {&unprogrammedType};
  return types;
}

int lfibUnprogrammed(const Options& options) {
  Tarn::busErrorsAreHandled();
  Reader reader(options);
  if (!reader.await(options.timeout)) return reader.exitCode();
  const AllUnprogrammed all = reader.read();
  Output out(options);
  const Agents::Json json = directoryJson(reader.directory(), reader.view());
  for (const auto& [key, value] : json.items()) out.fact(key, value);
  out.line(reader.directory().path() + ": " + std::to_string(all.size()) +
           " unprogrammed routes; " + writerText(reader.directory(), reader.view()));
  Record record(unprogrammedType);
  for (const auto& [key, one] : all) {
    fillRecord(record, key, one);
    if (!out.add(record)) break;
  }
  return out.end(reader.exitCode());
}

}  // namespace MplsCtl
