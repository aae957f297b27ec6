/// `mplsctl sr show`: the segment-routing tables: global blocks, prefix segments, and the routes
/// that push labels.
#include <algorithm>
#include <filesystem>
#include <iostream>
#include <memory>
#include <tuple>
#include <utility>
#include <vector>

#include "agents/common/ExitCode.h"
#include "agents/common/JsonWriter.h"
#include "agents/common/Log.h"
#include "agents/common/Paths.h"
#include "agents/common/Printable.h"
#include "agents/common/Table.h"
#include "mpls/tables/SegmentRoutingStatus.h"
#include "platform/kiln/EventLoop.h"
#include "platform/tarn/DirectoryStorage.h"
#include "platform/tarn/ReaderDirectory.h"
#include "tools/mplsctl/Options.h"
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

// ---- Text ---------------------------------------------------------------------------------------

std::string labelText(Netbase::MplsLabel label) {
  return label > Netbase::MplsLabel::max ? "-" : std::to_string(label.value());
}

std::string flagsText(const Sr::PfxSegmentFlags& flags) {
  std::string text;
  const auto add = [&text](bool isSet, const char* word) {
    if (isSet) text += (text.empty() ? "" : " ") + std::string(word);
  };
  add(flags.explicitNull(), "explicit-null");
  add(flags.noPhp(), "no-php");
  add(flags.node(), "node");
  add(flags.proxy(), "proxy");
  add(flags.reAdvert(), "re-advertised");
  add(flags.isLocal(), "local");
  return text.empty() ? "-" : text;
}

std::string pushText(const Tarn::Fib::Via& via) {
  std::string text;
  for (std::size_t i = 0; i < via.labelStack().size(); ++i)
    text += (i == 0 ? "" : "/") + std::to_string(via.labelStack().label(i).value());
  return text.empty() ? "-" : text;
}

void printBlocks(const Sr::Status& status) {
  std::cout << "Global blocks: " << status.globalBlocks() << '\n';
  Agents::TableStream table(std::cout, {"ROUTER", "LABELS"});
  eachRow(status.globalBlockTable(), [&](const Sr::GlobalBlock& block) {
    const auto& range = block.labelRange();
    const std::uint64_t end = std::uint64_t{range.base().value()} + range.size();
    table.add({textOf(block.key()),
               range.size() == 0 ? "-" : labelText(range.base()) + "-" + std::to_string(end - 1)});
  });
  table.end();
}

void printSegments(const Sr::Status& status) {
  std::cout << "Prefix segments: " << status.prefixSegments() << '\n';
  Agents::TableStream table(std::cout, {"PREFIX", "SID", "LABEL", "ROUTER", "FLAGS"});
  eachRow(status.prefixSegmentTable(), [&](const Sr::PrefixSegment& one) {
    table.add({textOf(one.key()), (one.sid().isValue() ? "-" : std::to_string(one.sid().index())),
               labelText(labelOf(status, one)), textOf(one.rtrid()), flagsText(one.flags())});
  });
  table.end();
}

void addRoute(Agents::TableStream& table, const auto& route) {
  for (const Tarn::Fib::Via& via : route.viaIteratorConst())
    table.add({textOf(route.key()), std::to_string(route.preference()),
               std::to_string(route.metric()), via.nextHop().isSet() ? textOf(via.nextHop()) : "-",
               pushText(via), via.intf().empty() ? "-" : std::string(via.intf().name())});
}

void printRoutes(const Sr::Status& status) {
  std::cout << "Routes: " << status.v4Routes() + status.v6Routes() << '\n';
  Agents::TableStream table(std::cout,
                            {"PREFIX", "PREFERENCE", "METRIC", "NEXT HOP", "PUSH", "INTERFACE"});
  eachRow(status.v4RouteTable(), [&](const auto& route) { addRoute(table, route); });
  eachRow(status.v6RouteTable(), [&](const auto& route) { addRoute(table, route); });
  table.end();
}

void printText(const std::vector<std::unique_ptr<Instance>>& instances) {
  std::string before;
  for (const auto& one : instances) {
    std::cout << std::exchange(before, "\n") << Agents::printable(one->path()) << ": "
              << Agents::printable(one->writer()) << '\n';
    printBlocks(one->status());
    printSegments(one->status());
    printRoutes(one->status());
  }
}

// ---- JSON ---------------------------------------------------------------------------------------

Json segmentJson(const Sr::Status& status, const Sr::PrefixSegment& segment) {
  Json json = {{"prefix", textOf(segment.key())},
               {"sid", segment.sid().index()},
               {"isLabel", segment.sid().isValue()},
               {"router", textOf(segment.rtrid())},
               {"flags", flagsText(segment.flags())}};
  if (const auto label = labelOf(status, segment); label <= Netbase::MplsLabel::max)
    json["label"] = label.value();
  return json;
}

Json routeJson(const auto& route) {
  Json json = {{"prefix", textOf(route.key())},
               {"preference", route.preference()},
               {"metric", route.metric()},
               {"vias", Json::array()}};
  for (const Tarn::Fib::Via& via : route.viaIteratorConst()) {
    Json& one = json["vias"].emplace_back(Json::object());
    if (via.nextHop().isSet()) one["nextHop"] = textOf(via.nextHop());
    if (!via.intf().empty()) one["interface"] = std::string(via.intf().name());
    one["push"] = Json::array();
    for (std::size_t i = 0; i < via.labelStack().size(); ++i)
      one["push"].push_back(via.labelStack().label(i).value());
  }
  return json;
}

void printJson(const std::vector<std::unique_ptr<Instance>>& instances) {
  Agents::JsonWriter writer(std::cout, false);
  writer.begin();
  writer.list("instances", instances, [](const auto& one) {
    const Sr::Status& status = one->status();
    Json json = one->json();
    for (const char* const part : {"blocks", "segments", "routes"}) json[part] = Json::array();
    eachRow(status.globalBlockTable(), [&](const Sr::GlobalBlock& block) {
      json["blocks"].push_back({{"router", textOf(block.key())},
                                {"base", block.labelRange().base().value()},
                                {"size", block.labelRange().size()}});
    });
    eachRow(status.prefixSegmentTable(), [&](const Sr::PrefixSegment& segment) {
      json["segments"].push_back(segmentJson(status, segment));
    });
    const auto addRouteTo = [&](const auto& route) { json["routes"].push_back(routeJson(route)); };
    eachRow(status.v4RouteTable(), addRouteTo);
    eachRow(status.v6RouteTable(), addRouteTo);
    return json;
  });
  writer.end();
}

}  // namespace

int srShow(const Options& options) {
  Agents::Log log(options.name);
  Kiln::EventLoop loop;
  Tarn::busErrorsAreHandled();
  bool isAwaiting = true;
  std::vector<std::string> reports;
  std::vector<std::unique_ptr<Instance>> instances;
  for (const std::string& path : pathsFor(options))
    instances.push_back(std::make_unique<Instance>(
        loop, path, [&](const std::string& text) { reports.push_back(text); }));
  const auto areAttached = [&] {
    return !instances.empty() &&
           std::ranges::all_of(instances, [](const auto& one) { return one->isAttached(); });
  };
  if (!instances.empty() && loop.runUntil(areAttached, options.timeout)) {
    loop.runUntilIdle();  // who writes is known then
    reports.clear();      // of what was missing for a moment
    (options.json ? printJson : printText)(instances);
    isAwaiting = false;
  }
  for (const std::string& text : reports) log.say(text);
  if (!isAwaiting) return reports.empty() ? Agents::exitGood : Agents::exitFault;
  log.say(Agents::srParent(options.run) +
          ": no segment-routing tables to be read; start sr-agent, or tell with --tables where it "
          "writes");
  return Agents::exitDatabase;
}

}  // namespace MplsCtl
