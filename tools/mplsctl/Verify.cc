/// `mplsctl verify` and `mplsctl OBJECT verify`: whether what the agents share is sound, and
/// agrees. Exit code 0: all checks pass; 1: one fails; 3: something cannot be opened; 4: damage was
/// met.
#include <filesystem>
#include <set>
#include <system_error>
#include <utility>

#include "agents/common/ExitCode.h"
#include "agents/common/Paths.h"
#include "platform/centrum/ServerStatus.h"
#include "platform/tarn/DirectoryStorage.h"
#include "tools/mplsctl/Commands.h"
#include "tools/mplsctl/Errors.h"
#include "tools/mplsctl/LabelReader.h"
#include "tools/mplsctl/LdpReader.h"
#include "tools/mplsctl/LfibReader.h"
#include "tools/mplsctl/Output.h"
#include "tools/mplsctl/VerifyLabels.h"
#include "tools/mplsctl/VerifyLdp.h"
#include "tools/mplsctl/VerifyLfib.h"
#include "tools/mplsctl/VerifyRoutes.h"
#include "tools/mplsctl/VerifyState.h"
#include "tools/mplsctl/VerifyTable.h"

namespace MplsCtl {

namespace {

namespace Fs = std::filesystem;
using Result = Check::Result;

constexpr double pauseSeconds = pauseTime / 1000.0;

constexpr Column findingColumns[] = {{"text", "FINDING"}};
constexpr Column columns[] = {
    {"result", "RESULT"},
    {"check", "CHECK"},
    {"place", "PLACE"},
    {"looked", "LOOKED AT"},
    {"count", "", Kind::number},
    {"findings", "", Kind::records, [] { return std::span<const Column>(findingColumns); }}};
constexpr RecordType checkType{"check", columns, 3};
constexpr const RecordType* types[] = {&checkType};

int codeOf(Result result) {
  if (result == Result::damage) return Agents::exitFault;
  if (result == Result::unreadable) return Agents::exitDatabase;
  return result == Result::fail ? Agents::exitProblem : Agents::exitGood;
}

/// The directories right below `parent` that hold such a table, or may not be searched for it.
std::set<std::string> directoriesWith(const std::string& table, const std::string& parent) {
  std::set<std::string> found;
  std::error_code error;
  for (Fs::directory_iterator at(parent, error), end; !error && at != end; at.increment(error)) {
    std::error_code closed;
    if (Fs::exists(at->path() / (table + ".head"), closed) || closed)
      found.insert(at->path().string());
  }
  return found;
}

class Verifier {
 public:
  explicit Verifier(const Options& options)
      : options_(options), isAll_(options.object == "verify"), out_(options), record_(checkType) {}

  int run();

 private:
  bool wants(std::string_view object) const { return isAll_ || options_.object == object; }
  void add(const Check& check);
  /// What is to be there when that object was named, and may be missing else.
  void missing(const std::string& name, const std::string& place, const std::string& why);
  void failedWith(int exitCode) { exitCode_ = std::max(exitCode_, exitCode); }

  void verifyTables(const std::string& path);
  void verifyLfibs();
  void verifyLfibAt(const std::string& path);
  void verifyMerged();
  void verifyBlocks();
  void verifyLdps();
  void verifyLdpAt(const std::string& tables, const std::string& lfib);
  void verifyState();
  bool awaitPaths(Agents::Program& program, const std::string& name, const std::string& place);
  CheckSink sink() {
    return [this](const Check& check) { add(check); };
  }

  const Options& options_;
  const bool isAll_;
  Output out_;
  Record record_;
  Progress progress_;
  int exitCode_ = Agents::exitGood;
  std::size_t passed_ = 0, failed_ = 0, skipped_ = 0;
  std::set<std::string> damagedDirectories_;  // of tables with findings
  std::set<std::string> closedDirectories_;   // of those that may not be read
};

int Verifier::run() {
  Tarn::busErrorsAreHandled();
  if (!options_.file.empty()) verifyState();
  if (wants("table")) verifyTables(options_.run);
  if (wants("lfib")) verifyLfibs();
  if (wants("ldp")) verifyLdps();
  if (options_.object == "sr")
    verifyTables(options_.tables.empty() ? Agents::srParent(options_.run) : options_.tables);
  if (wants("route")) verifyMerged();
  if (wants("label")) verifyBlocks();
  const std::size_t checks = passed_ + failed_ + skipped_;
  if (checks != 0)
    out_.line(std::to_string(checks) + " checks: " + std::to_string(passed_) + " pass, " +
              std::to_string(failed_) + " fail, " + std::to_string(skipped_) + " skipped");
  out_.end();
  if (checks != 0 || exitCode_ != Agents::exitGood) return exitCode_;
  tellError(options_, ErrorCode::cannotOpen, "nothing to verify below " + options_.run,
            options_.run);
  return Agents::exitDatabase;
}

void Verifier::add(const Check& check) {
  progress_.clear();
  failedWith(codeOf(check.result()));
  const std::string directory = Fs::path(check.place()).parent_path();
  if (check.result() == Result::damage) damagedDirectories_.insert(directory);
  if (check.result() == Result::unreadable) closedDirectories_.insert(directory);
  record_.clear();
  if (check.result() == Result::pass) {
    ++passed_;
    record_.text("PASS");
  } else if (check.result() == Result::skip) {
    ++skipped_;
    record_.text("SKIP");
  } else {
    ++failed_;
    record_.text("FAIL", Cell::State::fault);
  }
  record_.text(check.name()).text(check.place()).textOrNone(check.summary()).number(check.count());
  record_.recordsBegin();
  for (const std::string& one : check.findings()) record_.text(one, Cell::State::fault);
  if (check.count() > check.findings().size())
    record_.remark("and " + std::to_string(check.count() - check.findings().size()) + " more");
  record_.recordsEnd();
  out_.add(record_);
}

void Verifier::missing(const std::string& name, const std::string& place, const std::string& why) {
  Check check(name, place);
  if (isAll_) check.skipped(why);
  else check.unreadable(why);
  add(check);
}

// ---- Tables ------------------------------------------------------------------------------------

void Verifier::verifyTables(const std::string& path) {
  eachTable(path, [this](const TableFile& table) { add(tableLayoutCheck(table, &progress_)); });
}

void Verifier::verifyLfibs() {
  std::set<std::string> paths{options_.lfib};
  if (options_.lfib.empty()) paths = directoriesWith("lfibRoute", Agents::lfibParent(options_.run));
  for (const std::string& path : paths) {
    if (!isAll_) verifyTables(path);
    verifyLfibAt(path);
  }
  if (paths.empty() && !isAll_)
    missing("references", Agents::lfibParent(options_.run), "no LFIB to be read");
}

/// Tables of which the head is damaged do not come by waiting.
void Verifier::verifyLfibAt(const std::string& path) {
  Options options = options_;
  options.lfib = path;
  if (damagedDirectories_.contains(path)) options.timeout = 0;
  if (closedDirectories_.contains(path)) {
    Check check("references", path);
    check.skipped("not all tables can be read");
    return add(check);
  }
  LfibReader reader(options, false);
  if (!reader.await()) return failedWith(reader.exitCode());
  for (const auto& one : reader.directories())
    verifyLfib(one->lfib(), one->path(), sink(), &progress_);
  failedWith(reader.exitCode());
}

// ---- What the database has ---------------------------------------------------------------------

/// Waits until the database has said of all paths that were asked for whether they are there;
/// whether they are.
bool Verifier::awaitPaths(Agents::Program& program, const std::string& name,
                          const std::string& place) {
  bool hasAnswered = false;
  program.mount({{std::string(Centrum::statusPath), Centrum::Status::formaTypeName, "r"}},
                [&hasAnswered] { hasAnswered = true; });
  program.await([&] { return hasAnswered || !program.connectionProblem().empty(); },
                options_.timeout);
  if (!hasAnswered) {
    const std::string& problem = program.connectionProblem();
    missing(name, place,
            problem.empty() ? "the database does not answer" : "no database: " + problem);
    return false;
  }
  for (const Centrum::MountInfo& mount : program.manager()->mountInfos()) {
    if (mount.state != Centrum::MountState::waiting) continue;
    missing(name, place, mount.path + ": nobody has created it");
    return false;
  }
  return true;
}

void Verifier::verifyMerged() {
  const std::string lfibPath =
      options_.lfib.empty() ? Agents::staticLfib(options_.run) : options_.lfib;
  Agents::Program program(options_, Agents::Program::Kind::query);
  Forma::Ptr<Mpls::RouteConfig> config;
  program.mount({{Agents::mergedPath, Mpls::RouteConfig::formaTypeName, "r"}},
                [&] { config = program.entity<Mpls::RouteConfig>(Agents::mergedPath); });
  if (!awaitPaths(program, "merged", Agents::mergedPath)) return;
  if (!program.await([&] { return config && config->ready(); }, options_.timeout))
    return missing("merged", Agents::mergedPath, "not merged yet; is mpls-agent running?");
  LfibDirectory lfib(program.loop(), lfibPath, false, [](const std::string&) {});
  if (!program.await([&] { return lfib.isAttached(); }, isAll_ ? 0 : options_.timeout))
    return missing("merged", lfibPath, "no LFIB to be read; start lfib-writer");
  const Pause pause = [&program] { program.await([] { return false; }, pauseSeconds); };
  verifyRoutes(*config, lfib.lfib(), lfibPath, pause, sink());
}

void Verifier::verifyBlocks() {
  Agents::Program program(options_, Agents::Program::Kind::query);
  LabelReader reader(program);
  if (!awaitPaths(program, "overlap", Agents::apiStatusPath)) return;
  if (!reader.await(options_)) return failedWith(MplsCtl::exitCodeOf(program));
  const Pause pause = [&program] { program.await([] { return false; }, pauseSeconds); };
  verifyLabels([&reader] { return reader.view(); }, Agents::apiStatusPath, pause, sink());
}

// ---- LDP ---------------------------------------------------------------------------------------

void Verifier::verifyLdps() {
  std::set<std::string> paths;
  if (!options_.tables.empty()) paths = {options_.tables};
  else if (!options_.instance.empty() || !isAll_)
    paths = {Agents::ldpTables(options_.run, options_.instance)};
  else paths = directoriesWith("localLbt", options_.run);
  for (const std::string& path : paths) {
    if (!isAll_) verifyTables(path);
    const std::string name = Fs::path(path).filename();
    verifyLdpAt(path, options_.lfib.empty() ? Agents::lfibParent(options_.run) + "/" + name
                                            : options_.lfib);
  }
}

void Verifier::verifyLdpAt(const std::string& path, const std::string& lfibPath) {
  Kiln::EventLoop loop;
  const auto silent = [](const std::string&) {};  // the layout has been checked
  Tarn::ReaderDirectory directory(loop, path, silent);
  const auto tables = Ldp::LdpTarn::ldpLabelBindingTableFactory("ldp");
  tables->localLbtTable().attachReader(directory);
  tables->localLbtAdvertisedToTable().attachReader(directory);
  tables->peerLbtTable().attachReader(directory);
  LfibDirectory lfib(loop, lfibPath, false, silent);
  const auto& read = std::as_const(*tables);
  const bool isThere = loop.runUntil(
      [&] {
        return read.localLbtTable().view().isAttached() &&
               read.peerLbtTable().view().isAttached() &&
               read.localLbtAdvertisedToTable().view().isAttached() && lfib.isAttached();
      },
      damagedDirectories_.contains(path) || closedDirectories_.contains(path) || isAll_
          ? 0
          : options_.timeout);
  if (!isThere)
    return missing("bindings", path, "no LDP tables to be read, or no LFIB at " + lfibPath);
  const Pause pause = [&loop] { loop.runUntil([] { return false; }, pauseSeconds); };
  verifyLdp(*tables, lfib.lfib(), path, pause, sink());
}

void Verifier::verifyState() {
  Agents::Program program(options_, Agents::Program::Kind::query);
  LdpReader reader(program, options_);
  if (!reader.await())
    return failedWith(program.ended() ? program.exitCode() : Agents::exitDatabase);
  const Check check = ldpStateCheck(reader, options_.file);
  out_.line(check.result() == Result::pass ? "equal: " + check.summary()
                                           : "differences: " + std::to_string(check.count()));
  add(check);
  failedWith(reader.exitCode());
}

}  // namespace

int verify(const Options& options) { return Verifier(options).run(); }
RecordTypes verifyTypes() { return types; }

}  // namespace MplsCtl
