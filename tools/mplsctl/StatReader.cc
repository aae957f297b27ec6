#include "tools/mplsctl/StatReader.h"

#include <unistd.h>

#include <algorithm>
#include <cmath>
#include <utility>

#include "agents/common/ExitCode.h"
#include "agents/common/Paths.h"
#include "tools/mplsctl/Errors.h"
#include "tools/mplsctl/Query.h"

namespace MplsCtl {

namespace {

constexpr Column tableColumns[] = {{"table", "TABLE"},
                                   {"directory", "DIRECTORY"},
                                   {"rows", "ROWS", Kind::number},
                                   {"bytes", "BYTES", Kind::number},
                                   {"liveBytes", "LIVE BYTES", Kind::number},
                                   {"epoch", "EPOCH", Kind::number},
                                   {"writerPresent", "WRITTEN", Kind::flag},
                                   {"changes", "CHANGES", Kind::number},
                                   {"changesPerSecond", "PER SECOND", Kind::number},
                                   {"problem", "PROBLEM"}};
constexpr Column labelColumns[] = {{"blocks", "BLOCKS", Kind::number},
                                   {"given", "GIVEN", Kind::number},
                                   {"free", "FREE", Kind::number},
                                   {"waiting", "WAITING", Kind::number},
                                   {"labelsGiven", "LABELS GIVEN", Kind::number}};
constexpr Column databaseColumns[] = {
    {"sequence", "SEQUENCE", Kind::number}, {"changesPerSecond", "PER SECOND", Kind::number},
    {"paths", "PATHS", Kind::number},       {"cells", "CELLS", Kind::number},
    {"bytes", "BYTES", Kind::number},       {"logBytes", "LOG BYTES", Kind::number},
    {"clients", "CLIENTS", Kind::number},   {"largestLag", "LARGEST LAG", Kind::number},
    {"stalled", "STALLED", Kind::number},   {"bytesIn", "BYTES IN", Kind::number},
    {"bytesOut", "BYTES OUT", Kind::number}};
constexpr RecordType tableType{"table", tableColumns, 2};
constexpr RecordType labelType{"labels", labelColumns, 0};
constexpr RecordType databaseType{"database", databaseColumns, 0};
constexpr const RecordType* allTypes[] = {&tableType, &labelType, &databaseType};

/// Below which directory an object has its tables; empty when it has none.
std::string tablesOf(const Options& options) {
  const std::string& run = options.run;
  if (options.object == "lfib")
    return options.lfib.empty() ? Agents::lfibParent(run) : options.lfib;
  if (options.object == "ldp")
    return options.tables.empty() ? Agents::ldpTables(run, options.instance) : options.tables;
  if (options.object == "sr")
    return options.tables.empty() ? Agents::srParent(run) : options.tables;
  return options.object == "table" || options.object == "stat" ? run : "";
}

}  // namespace

RecordTypes StatReader::types() { return allTypes; }

StatReader::StatReader(Agents::Program& program, const Options& options)
    : program_(program), options_(options), isAll_(options.object == "stat") {
  if (wants("label")) labels_ = std::make_unique<LabelReader>(program);
  if (!wants("label") && !wants("db")) return;
  const std::string path(Centrum::statusPath);
  program_.mount({{path, Centrum::Status::formaTypeName, "r"}},
                 [this, path] { status_ = program_.entity<Centrum::Status>(path); });
}

bool StatReader::await() {
  if (options_.object == "label") return hasLabels_ = labels_->await(options_);
  if (options_.object == "db")
    return MplsCtl::await(
        program_, options_, [this] { return static_cast<bool>(status_); }, "no answer");
  if (!isAll_) return true;
  program_.await([this] { return status_ || !program_.connectionProblem().empty(); },
                 options_.timeout);
  if (!status_ && !program_.ended())
    tellInfo(options_, "no database: " + program_.connectionProblem() + "; of tables alone:");
  if (!status_) return !program_.ended();
  for (const Centrum::MountInfo& mount : program_.manager()->mountInfos())
    if (mount.state == Centrum::MountState::waiting) return true;
  hasLabels_ = labels_->await(options_);
  return !program_.ended();
}

void StatReader::look(const std::function<void(const Record&)>& visit) {
  const Clock::time_point before = std::exchange(now_, Clock::now());
  sinceLast_ = counts_.empty() ? 0 : std::chrono::duration<double>(now_ - before).count();
  lookAtTables(visit);
  lookAtLabels(visit);
  lookAtDatabase(visit);
}

/// Nothing at the first look, and when the count began anew.
void StatReader::addRate(Record& record, const std::string& what, std::uint64_t count) {
  const auto [at, isNew] = counts_.try_emplace(what, count);
  const std::uint64_t before = std::exchange(at->second, count);
  if (isNew || sinceLast_ == 0 || count < before) record.none();
  else
    record.number(
        static_cast<std::uint64_t>(std::llround(static_cast<double>(count - before) / sinceLast_)));
}

void StatReader::lookAtTables(const std::function<void(const Record&)>& visit) {
  const std::string path = tablesOf(options_);
  if (path.empty()) return;
  Record record(tableType);
  exitCode_ = Agents::exitGood;
  eachTable(path, [&](const TableFile& table) {
    exitCode_ = std::max(exitCode_, exitCodeOf(table));
    if (table.name.empty())
      return tellError(options_, ErrorCode::cannotOpen, table.problem, table.directory);
    record.clear();
    record.textOrNone(table.name).text(table.directory);
    const TableHead& head = table.head;
    if (table.problem.empty()) {
      record.number(head.rows).number(head.segmentBytes + head.indexBytes).number(head.liveBytes);
      record.number(head.epoch).flag(table.writer.isThere && head.writerPid != 0);
      record.number(head.changes);
      addRate(record, table.directory + "/" + table.name, head.changes);
      record.none();
    } else {
      for (std::size_t i = 2; i + 1 < std::size(tableColumns); ++i) record.none();
      record.text(table.problem, Cell::State::fault);
    }
    visit(record);
  });
}

void StatReader::lookAtLabels(const std::function<void(const Record&)>& visit) {
  if (!hasLabels_) return;
  const LabelView view = labels_->view();
  const std::uint64_t blocks = view.range ? view.range->blocks() : 0;
  const std::uint64_t given = view.blocks.size();
  Record record(labelType);
  record.number(blocks).number(given).number(blocks - std::min(blocks, given));
  record.number(view.waits.size()).number(given * Mpls::LabelBlock::blockSize);
  visit(record);
}

void StatReader::lookAtDatabase(const std::function<void(const Record&)>& visit) {
  if (!status_ || !wants("db")) return;
  std::uint64_t cells = 0, bytes = 0, lag = 0, stalled = 0, in = 0, out = 0;
  for (const auto& one : status_->pathIteratorConst()) {
    cells += one.value.cells();
    bytes += one.value.bytes();
  }
  for (const auto& one : status_->clientIteratorConst()) {
    if (one.value.pid() == static_cast<std::uint32_t>(::getpid())) continue;
    lag = std::max(lag, one.value.lag());
    stalled += one.value.stalled() ? 1 : 0;
    in += one.value.bytesIn();
    out += one.value.bytesOut();
  }
  Record record(databaseType);
  record.number(status_->sequence());
  addRate(record, "database", status_->sequence());
  record.number(status_->paths()).number(cells).number(bytes).number(status_->logBytes());
  record.number(status_->clients()).number(lag).number(stalled).number(in).number(out);
  visit(record);
}

}  // namespace MplsCtl
