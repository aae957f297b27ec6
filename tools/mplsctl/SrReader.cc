#include "tools/mplsctl/SrReader.h"

#include <algorithm>
#include <filesystem>
#include <utility>

#include "agents/common/Paths.h"
#include "platform/tarn/DirectoryStorage.h"
#include "tools/mplsctl/WriterText.h"

namespace MplsCtl {

namespace {

namespace Fs = std::filesystem;
namespace Sr = Tarn::SegmentRouting;

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

}  // namespace

// ---- One instance ------------------------------------------------------------------------------

SrInstance::SrInstance(Kiln::EventLoop& loop, const std::string& path, Tarn::Report report)
    : directory_(loop, path, std::move(report)), status_(Sr::statusFactory("sr")) {
  std::apply([this](auto&... table) { (table.attachReader(directory_), ...); }, tables());
}

std::tuple<Tarn::TarnMap<Netbase::Prefix, Tarn::Fib::Route>&,
           Tarn::TarnMap<Netbase::Ip6Prefix, Tarn::Fib6::Route>&,
           Tarn::TarnMap<Netbase::IpGenPrefix, Sr::PrefixSegment>&,
           Tarn::TarnMap<Mpls::RouterId, Sr::GlobalBlock>&>
SrInstance::tables() const {
  return {status_->v4RouteTable(), status_->v6RouteTable(), status_->prefixSegmentTable(),
          status_->globalBlockTable()};
}

bool SrInstance::isAttached() const {
  return std::apply(
      [](auto&... table) { return (std::as_const(table).view().isAttached() && ...); }, tables());
}

std::string SrInstance::writerText() const {
  return MplsCtl::writerText(directory_, status().globalBlockTable().view());
}

Agents::Json SrInstance::json() const {
  return directoryJson(directory_, status().globalBlockTable().view());
}

// ---- All ---------------------------------------------------------------------------------------

SrReader::SrReader(const Options& options) : options_(options), reports_(options) {
  Tarn::busErrorsAreHandled();
  for (const std::string& path : pathsFor(options)) add(path);
}

void SrReader::add(const std::string& path) {
  instances_.push_back(std::make_unique<SrInstance>(loop_, path, reports_.of(path)));
}

bool SrReader::await() {
  const auto isAttached = [](const auto& one) { return one->isAttached(); };
  const auto areAttached = [&] { return std::ranges::all_of(instances_, isAttached); };
  if (!instances_.empty() && loop_.runUntil(areAttached, options_.timeout)) {
    loop_.runUntilIdle();  // who writes is known then
    reports_.attached();
    return true;
  }
  std::vector<std::string> missing;
  for (const auto& one : instances_)
    if (!one->isAttached()) missing.push_back(one->path());
  if (instances_.empty()) missing.push_back(Agents::srParent(options_.run));
  reports_.tellMissing(missing,
                       "no segment-routing tables to be read; start sr-agent, or tell with "
                       "--tables where it writes");
  return false;
}

void SrReader::lookForMore() {
  for (const std::string& path : pathsFor(options_))
    if (std::ranges::none_of(instances_, [&](const auto& one) { return one->path() == path; }))
      add(path);
}

}  // namespace MplsCtl
