#include "tools/mplsctl/LfibReader.h"

#include <signal.h>

#include <algorithm>
#include <filesystem>
#include <set>
#include <system_error>
#include <tuple>
#include <utility>

#include "agents/common/ExitCode.h"
#include "agents/common/Paths.h"
#include "agents/common/Printable.h"
#include "platform/tarn/DirectoryStorage.h"
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

LfibReader::LfibReader(const Options& options, bool follow)
    : options_(options), log_(options.name) {
  Tarn::busErrorsAreHandled();
  loop_.exceptionHandlerIs([this](std::exception_ptr problem) {
    if (!failure_) failure_ = std::move(problem);
    loop_.stop();
  });
  for (const std::string& path : pathsFor(options))
    directories_.push_back(std::make_unique<LfibDirectory>(
        loop_, path, follow, [this](const std::string& text) { handleReport(text); }));
}

/// What is missing for the moment is told if it does not come.
void LfibReader::handleReport(const std::string& text) {
  if (isAwaiting_) return reports_.push_back(text);
  isDamaged_ = true;
  log_.say(text);
}

bool LfibReader::await() {
  loop_.runUntilIdle();  // who writes is known then
  const auto attached = [this] {
    return std::ranges::all_of(directories_, [](const auto& one) { return one->isAttached(); });
  };
  const bool done = loop_.runUntil(attached, options_.timeout);
  isAwaiting_ = false;
  if (done) return true;
  for (const std::string& text : std::exchange(reports_, {})) log_.say(text);
  for (const auto& one : directories_)
    if (!one->isAttached())
      log_.say(one->path() +
               ": no LFIB to be read; start lfib-writer, or tell with --lfib where it "
               "writes");
  return false;
}

int LfibReader::run() {
  for (const int signo : {SIGINT, SIGTERM}) loop_.signalIs(signo, [this](int) { loop_.stop(); });
  loop_.run();
  if (failure_) std::rethrow_exception(std::exchange(failure_, nullptr));
  return Agents::exitGood;
}

int LfibReader::exitCode() const { return isDamaged_ ? Agents::exitFault : Agents::exitGood; }

std::vector<Mpls::RouteKey> LfibReader::keysOf(const LfibDirectory& directory) {
  std::vector<Mpls::RouteKey> keys;
  directory.lfib().lfibRouteTable().eachKey(
      [&](const Mpls::RouteKey& key) { keys.push_back(key); });
  std::ranges::sort(keys);
  return keys;
}

void LfibReader::print(std::ostream& out, const LfibDirectory& directory) {
  const std::vector<Mpls::RouteKey> keys = keysOf(directory);
  out << Agents::printable(directory.path()) << ": " << keys.size() << " routes; "
      << Agents::printable(directory.writerText()) << '\n';
  if (keys.empty()) return;
  Agents::TableStream table(out, lfibHeading());
  for (const Mpls::RouteKey& key : keys)
    if (const auto entry = lfibEntryOf(directory.lfib(), key))
      for (Agents::Row& row : lfibRows(*entry)) table.add(std::move(row));
  table.end();
}

}  // namespace MplsCtl
