#include "tools/mplsctl/LfibReader.h"

#include <algorithm>
#include <filesystem>
#include <set>
#include <system_error>
#include <tuple>
#include <utility>

#include "agents/common/ExitCode.h"
#include "agents/common/Paths.h"
#include "platform/tarn/DirectoryStorage.h"
#include "tools/mplsctl/Query.h"
#include "tools/mplsctl/WriterText.h"

namespace MplsCtl {

namespace {

namespace Fs = std::filesystem;

template <class Lfib>
auto tablesOf(Lfib& lfib) {
  return std::tie(lfib.lfibRouteTable(), lfib.viaSetTable(), lfib.mplsViaTable(), lfib.pwViaTable(),
                  lfib.ipLookupViaTable(), lfib.vlanViaTable(), lfib.evpnVlanAwareViaTable(),
                  lfib.evpnEthernetSegmentFilterViaTable(), lfib.evpnVlanFloodViaTable(),
                  lfib.evpnVlanAwareFloodViaTable());
}

/// Where LFIBs may be: what is there now, or else that of the static routes, which may come.
std::vector<std::string> pathsFor(const Options& options) {
  if (!options.lfib.empty()) return {options.lfib};
  std::set<std::string> paths;
  std::error_code error;
  for (Fs::directory_iterator at(Agents::lfibParent(options.run), error), end; !error && at != end;
       at.increment(error)) {
    std::error_code ignored;
    if (at->is_directory(ignored)) paths.insert(at->path().string());
  }
  if (paths.empty()) paths.insert(Agents::staticLfib(options.run));
  return {paths.begin(), paths.end()};
}

}  // namespace

// ---- One directory -----------------------------------------------------------------------------

LfibDirectory::LfibDirectory(Kiln::EventLoop& loop, const std::string& path, bool follow,
                             Tarn::Report report)
    : tables_(loop, path, std::move(report)), lfib_(Mpls::lfibStatusFactory("lfib")) {
  if (follow) FormaTarn::attachReader(*lfib_, tables_);
  else std::apply([this](auto&... table) { (table.attachReader(tables_), ...); }, tablesOf(*lfib_));
}

bool LfibDirectory::isAttached() const {
  return std::apply([](const auto&... table) { return (table.view().isAttached() && ...); },
                    tablesOf(std::as_const(*lfib_)));
}

std::string LfibDirectory::writerText() const {
  return MplsCtl::writerText(tables_, lfib_->lfibRouteTable().view());
}

Agents::Json LfibDirectory::json() const {
  return directoryJson(tables_, lfib_->lfibRouteTable().view());
}

// ---- All ---------------------------------------------------------------------------------------

LfibReader::LfibReader(const Options& options, bool follow) : options_(options), reports_(options) {
  Tarn::busErrorsAreHandled();
  loop_.exceptionHandlerIs([this](std::exception_ptr problem) {
    if (!failure_) failure_ = std::move(problem);
    loop_.stop();
  });
  for (const std::string& path : pathsFor(options))
    directories_.push_back(std::make_unique<LfibDirectory>(loop_, path, follow, reports_.of(path)));
}

bool LfibReader::await() {
  loop_.runUntilIdle();  // who writes is known then
  const auto isAttached = [](const auto& one) { return one->isAttached(); };
  if (loop_.runUntil([&] { return std::ranges::all_of(directories_, isAttached); },
                     options_.timeout)) {
    reports_.attached();
    return true;
  }
  std::vector<std::string> missing;
  for (const auto& one : directories_)
    if (!one->isAttached()) missing.push_back(one->path());
  reports_.tellMissing(
      missing, "no LFIB to be read; start lfib-writer, or tell with --lfib where it writes");
  return false;
}

int LfibReader::run() {
  int exitCode = Agents::exitGood;
  endsBySignal(loop_, [&](int code) {
    exitCode = code;
    loop_.stop();
  });
  loop_.run();
  if (failure_) std::rethrow_exception(std::exchange(failure_, nullptr));
  return exitCode;
}

Agents::Json LfibReader::json() const {
  Agents::Json all = Agents::Json::array();
  for (const auto& one : directories_) all.push_back(one->json());
  return all;
}

std::string LfibReader::titleOf(const LfibDirectory& directory) {
  return directory.path() + ": " + std::to_string(directory.lfib().lfibRouteTable().rows()) +
         " routes; " + directory.writerText();
}

}  // namespace MplsCtl
