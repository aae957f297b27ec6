/// `mplsctl sr show`: the segment-routing tables: global blocks, prefix segments, and the routes
/// that push labels.
#include <algorithm>
#include <filesystem>
#include <memory>
#include <tuple>
#include <utility>
#include <vector>

#include "agents/common/ExitCode.h"
#include "agents/common/JsonWriter.h"
#include "agents/common/Paths.h"
#include "mpls/tables/SegmentRoutingStatus.h"
#include "platform/kiln/EventLoop.h"
#include "platform/tarn/DirectoryStorage.h"
#include "platform/tarn/ReaderDirectory.h"
#include "tools/mplsctl/Commands.h"
#include "tools/mplsctl/Errors.h"
#include "tools/mplsctl/Output.h"
#include "tools/mplsctl/TableFiles.h"
#include "tools/mplsctl/WriterText.h"

namespace MplsCtl {

namespace {

namespace Fs = std::filesystem;
namespace Sr = Tarn::SegmentRouting;
using Agents::Json;

std::string textOf(const auto& value) { return std::string(Forma::valueToStrep(value).view()); }

/// The tables of one instance. Rows are looked up: nothing but keys is kept.
class Instance {
 public:
  Instance(Kiln::EventLoop& loop, const std::string& path, Tarn::Report report)
      : directory_(loop, path, std::move(report)), status_(Sr::statusFactory("sr")) {
    std::apply([this](auto&... table) { (table.attachReader(directory_), ...); }, tables());
  }

  const std::string& path() const { return directory_.path(); }
  const Sr::Status& status() const { return *status_; }
  bool isAttached() const {
    return std::apply(
        [](auto&... table) { return (std::as_const(table).view().isAttached() && ...); }, tables());
  }
  std::string writer() const { return writerText(directory_, status().globalBlockTable().view()); }
  Json json() const { return directoryJson(directory_, status().globalBlockTable().view()); }

 private:
  std::tuple<Tarn::TarnMap<Netbase::Prefix, Tarn::Fib::Route>&,
             Tarn::TarnMap<Netbase::Ip6Prefix, Tarn::Fib6::Route>&,
             Tarn::TarnMap<Netbase::IpGenPrefix, Sr::PrefixSegment>&,
             Tarn::TarnMap<Mpls::RouterId, Sr::GlobalBlock>&>
  tables() const {
    return {status_->v4RouteTable(), status_->v6RouteTable(), status_->prefixSegmentTable(),
            status_->globalBlockTable()};
  }

  Tarn::ReaderDirectory directory_;
  const Forma::Ptr<Sr::Status> status_;
};

std::vector<std::string> pathsFor(const Options& options) {
  if (!options.tables.empty()) return {options.tables};
  if (!options.instance.empty()) return {Agents::srTables(options.run, options.instance)};
  std::vector<std::string> paths;
  std::error_code error;
  for (Fs::directory_iterator at(Agents::srParent(options.run), error), end; !error && at != end;
       at.increment(error))
    paths.push_back(at->path().string());
  std::ranges::sort(paths);
  return paths;
}

/// Calls `visit` for each row of a table, in the order of keys.
template <class Key, class Row>
void eachRow(const Tarn::TarnMap<Key, Row>& table, const auto& visit) {
  std::vector<Key> keys;
  table.eachKey([&](const Key& key) { keys.push_back(key); });
  std::ranges::sort(keys);
  for (const Key& key : keys) {
    Row row;
    if (table.find(key, &row)) visit(row);
  }
}

/// The label in the block of the router that advertised the segment.
Netbase::MplsLabel labelOf(const Sr::Status& status, const Sr::PrefixSegment& segment) {
  try {
    return status.globalBlock(segment.rtrid()).mplsLabel(segment.sid());
  } catch (const Forma::Exception&) {  // a block that is none
    return Netbase::MplsLabel::none;
  }
}

// ---- Records ------------------------------------------------------------------------------------

constexpr Column blockColumns[] = {{"router", "ROUTER"},
                                   {"base", "FIRST LABEL", Kind::number},
                                   {"size", "LABELS", Kind::number},
                                   {"directory", ""}};
constexpr Column segmentColumns[] = {{"prefix", "PREFIX"},
                                     {"sid", "SID", Kind::number},
                                     {"isLabel", "", Kind::flag},
                                     {"label", "LABEL", Kind::number},
                                     {"router", "ROUTER"},
                                     {"flags", "FLAGS", Kind::texts},
                                     {"directory", ""}};
constexpr Column viaColumns[] = {
    {"nextHop", "NEXT HOP"}, {"push", "PUSH", Kind::numbers}, {"interface", "INTERFACE"}};
std::span<const Column> viaColumnsOf() { return viaColumns; }
constexpr Column routeColumns[] = {{"prefix", "PREFIX"},
                                   {"preference", "PREFERENCE", Kind::number},
                                   {"metric", "METRIC", Kind::number},
                                   {"vias", "", Kind::records, viaColumnsOf},
                                   {"directory", ""}};

constexpr RecordType blockType{"block", blockColumns, 1};
constexpr RecordType segmentType{"segment", segmentColumns, 1};
constexpr RecordType routeType{"route", routeColumns, 1};

void addFlags(Record& record, const Sr::PfxSegmentFlags& flags) {
  record.listBegin();
  const auto add = [&record](bool isSet, std::string_view word) {
    if (isSet) record.element(word);
  };
  add(flags.explicitNull(), "explicit-null");
  add(flags.noPhp(), "no-php");
  add(flags.node(), "node");
  add(flags.proxy(), "proxy");
  add(flags.reAdvert(), "re-advertised");
  add(flags.isLocal(), "local");
  record.listEnd();
}

void showBlocks(Output& out, const Instance& instance) {
  const Sr::Status& status = instance.status();
  out.line("Global blocks: " + std::to_string(status.globalBlocks()));
  Record record(blockType);
  eachRow(status.globalBlockTable(), [&](const Sr::GlobalBlock& block) {
    record.clear();
    record.text(textOf(block.key())).number(block.labelRange().base().value());
    record.number(block.labelRange().size()).text(instance.path());
    out.add(record);
  });
}

void showSegments(Output& out, const Instance& instance) {
  const Sr::Status& status = instance.status();
  out.line("Prefix segments: " + std::to_string(status.prefixSegments()));
  Record record(segmentType);
  eachRow(status.prefixSegmentTable(), [&](const Sr::PrefixSegment& one) {
    record.clear();
    record.text(textOf(one.key())).number(one.sid().index()).flag(one.sid().isValue());
    const Netbase::MplsLabel label = labelOf(status, one);
    if (label <= Netbase::MplsLabel::max) record.number(label.value());
    else record.none();
    record.text(textOf(one.rtrid()));
    addFlags(record, one.flags());
    out.add(record.text(instance.path()));
  });
}

void addVia(Record& record, const Tarn::Fib::Via& via) {
  record.textOrNone(via.nextHop().isSet() ? textOf(via.nextHop()) : "");
  record.listBegin();
  for (std::size_t i = 0; i < via.labelStack().size(); ++i)
    record.element(via.labelStack().label(i).value());
  record.listEnd();
  record.textOrNone(via.intf().name());
}

void showRoutes(Output& out, const Instance& instance) {
  const Sr::Status& status = instance.status();
  out.line("Routes: " + std::to_string(status.v4Routes() + status.v6Routes()));
  Record record(routeType);
  const auto add = [&](const auto& route) {
    record.clear();
    record.text(textOf(route.key())).number(route.preference()).number(route.metric());
    record.recordsBegin();
    for (const Tarn::Fib::Via& via : route.viaIteratorConst()) addVia(record, via);
    record.recordsEnd().text(instance.path());
    out.add(record);
  };
  eachRow(status.v4RouteTable(), add);
  eachRow(status.v6RouteTable(), add);
}

void show(Output& out, const std::vector<std::unique_ptr<Instance>>& instances) {
  Json all = Json::array();
  for (const auto& one : instances) all.push_back(one->json());
  out.fact("instances", all);
  bool isFirst = true;
  for (const auto& one : instances) {
    if (!std::exchange(isFirst, false)) out.line("");
    out.line(one->path() + ": " + one->writer());
    showBlocks(out, *one);
    showSegments(out, *one);
    showRoutes(out, *one);
  }
}

int tellMissing(const Options& options, const std::vector<std::string>& reports,
                const std::vector<std::unique_ptr<Instance>>& instances) {
  for (const std::string& text : reports) tellError(options, ErrorCode::cannotOpen, text);
  tellError(options, ErrorCode::cannotOpen,
            "no segment-routing tables to be read; start sr-agent, or tell with --tables where it "
            "writes",
            instances.empty() ? Agents::srParent(options.run) : instances.front()->path());
  const bool isDamaged =
      std::ranges::any_of(instances, [](const auto& one) { return hasDamagedHead(one->path()); });
  return isDamaged ? Agents::exitFault : Agents::exitDatabase;
}

}  // namespace

RecordTypes srTypes() {
  static constexpr const RecordType* types[] = {&blockType, &segmentType, &routeType};
  return types;
}

int srShow(const Options& options) {
  Kiln::EventLoop loop;
  Tarn::busErrorsAreHandled();
  std::vector<std::string> reports;
  std::vector<std::unique_ptr<Instance>> instances;
  for (const std::string& path : pathsFor(options))
    instances.push_back(std::make_unique<Instance>(
        loop, path, [&](const std::string& text) { reports.push_back(text); }));
  const auto areAttached = [&] {
    return !instances.empty() &&
           std::ranges::all_of(instances, [](const auto& one) { return one->isAttached(); });
  };
  if (instances.empty() || !loop.runUntil(areAttached, options.timeout))
    return tellMissing(options, reports, instances);
  loop.runUntilIdle();  // who writes is known then
  reports.clear();      // of what was missing for a moment
  Output out(options);
  show(out, instances);
  for (const std::string& text : reports) tellError(options, ErrorCode::corrupt, text);
  return out.end(reports.empty() ? Agents::exitGood : Agents::exitFault);
}

}  // namespace MplsCtl
