/// `mplsctl table show`: the tables in shared memory, who writes them, and what is wrong with them.
#include <algorithm>
#include <iomanip>
#include <sstream>

#include "agents/common/ExitCode.h"
#include "tools/mplsctl/Ages.h"
#include "tools/mplsctl/Commands.h"
#include "tools/mplsctl/Errors.h"
#include "tools/mplsctl/Output.h"
#include "tools/mplsctl/TableFiles.h"

namespace MplsCtl {

namespace {

std::string hex(std::uint64_t number) {
  std::ostringstream text;
  text << std::hex << std::setfill('0') << std::setw(16) << number;
  return text.str();
}

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
  record.text(hex(head.schemaHash)).text(hex(head.generation)).number(head.epoch);
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

int exitCodeOf(const TableFile& table) {
  if (table.problem.empty()) return Agents::exitGood;
  const bool isDamaged = table.isRead && table.head.state == TableHead::State::damaged;
  return isDamaged ? Agents::exitFault : Agents::exitDatabase;
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
    fillRecord(record, table);
    if (isNamed(record.view(), options.key)) exitCode = std::max(exitCode, exitCodeOf(table));
    out.add(record);
  });
  if (!isAny) {
    tellError(options, ErrorCode::cannotOpen, "no tables below it", options.run);
    exitCode = Agents::exitDatabase;
  }
  return out.end(exitCode);
}

}  // namespace MplsCtl
