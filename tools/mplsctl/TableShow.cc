/// `mplsctl table show`, `get` and `watch`: the tables in shared memory, who writes them, and what
/// is wrong with them.
#include <algorithm>

#include "agents/common/ExitCode.h"
#include "tools/mplsctl/Ages.h"
#include "tools/mplsctl/Commands.h"
#include "tools/mplsctl/Errors.h"
#include "tools/mplsctl/Output.h"
#include "tools/mplsctl/Query.h"
#include "tools/mplsctl/SnapshotWatch.h"
#include "tools/mplsctl/TableFiles.h"
#include "tools/mplsctl/ValueText.h"

namespace MplsCtl {

namespace {

/// A writer that is there may have given a table up.
bool isWritten(const TableFile& table) { return table.writer.isThere && table.head.writerPid != 0; }

constexpr Column columns[] = {{"table", "TABLE"},
                              {"directory", "DIRECTORY"},
                              {"rows", "ROWS", Kind::number},
                              {"bytes", "BYTES", Kind::number},
                              {"segmentBytes", "", Kind::number},
                              {"indexBytes", "", Kind::number},
                              {"liveBytes", "LIVE BYTES", Kind::number},
                              {"keyBytes", "", Kind::number},
                              {"maxRowBytes", "", Kind::number},
                              {"schemaHash", ""},
                              {"generation", "GENERATION"},
                              {"epoch", "EPOCH", Kind::number},
                              {"writer", "WRITER"},
                              {"writerPid", "PID", Kind::number},
                              {"writerPresent", "PRESENT", Kind::flag},
                              {"sinceSeconds", "SINCE", Kind::seconds},
                              {"goneSeconds", "GONE", Kind::seconds},
                              {"problem", "PROBLEM"}};
constexpr RecordType tableType{"table", columns, 2};

void addHead(Record& record, const TableHead& head) {
  record.number(head.rows).number(head.segmentBytes + head.indexBytes);
  record.number(head.segmentBytes).number(head.indexBytes).number(head.liveBytes);
  record.number(head.keyBytes).number(head.maxRowBytes);
  record.text(hexText(head.schemaHash)).text(hexText(head.generation)).number(head.epoch);
}

void addWriter(Record& record, const TableFile& table) {
  const bool isThere = isWritten(table);
  record.textOrNone(table.writer.agent);
  if (table.writer.pid != 0) record.number(static_cast<std::uint64_t>(table.writer.pid));
  else record.none();
  record.flag(isThere);
  if (isThere) record.seconds(secondsSince(table.head.writerSince)).none();
  else record.none().seconds(secondsSince(table.head.writerSeen));
  record.none();
}

void fillRecord(Record& record, const TableFile& table) {
  record.clear();
  record.textOrNone(table.name).text(table.directory);
  if (table.problem.empty()) {
    addHead(record, table.head);
    return addWriter(record, table);
  }
  for (std::size_t i = 3; i < std::size(columns); ++i) record.none();
  record.text(table.problem, Cell::State::fault);
}

int tellNone(const Options& options) {
  tellError(options, ErrorCode::cannotOpen, "no tables below it", options.run);
  return Agents::exitDatabase;
}

}  // namespace

RecordTypes tableTypes() {
  static constexpr const RecordType* types[] = {&tableType};
  return types;
}

int tableShow(const Options& options) {
  Output out(options);
  Record record(tableType);
  int exitCode = Agents::exitGood;
  bool isAny = false;
  eachTable(options.run, [&](const TableFile& table) {
    isAny = true;
    if (table.name.empty()) {  // a directory that cannot be read, whatever it may hold
      exitCode = std::max(exitCode, exitCodeOf(table));
      return tellError(options, ErrorCode::cannotOpen, table.problem, table.directory);
    }
    fillRecord(record, table);
    if (isNamed(record.view(), options.key)) exitCode = std::max(exitCode, exitCodeOf(table));
    out.add(record);
  });
  return out.end(isAny ? exitCode : tellNone(options));
}

int tableWatch(const Options& options) {
  Kiln::EventLoop loop;
  SnapshotWatch watch(options);
  const auto each = [&options](const SnapshotWatch::Visit& visit) {
    Record record(tableType);
    eachTable(options.run, [&](const TableFile& table) {
      fillRecord(record, table);
      visit(record);
    });
  };
  watch.look(each);
  if (watch.size() == 0 && options.filters.empty()) return tellNone(options);
  tellInfo(options, "watching " + std::to_string(watch.size()) + " tables below " + options.run);
  return repeat(loop, lookInterval(options), [&] {
    watch.look(each);
    return true;
  });
}

}  // namespace MplsCtl
