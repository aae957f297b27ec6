/// `mplsctl table show`: the tables in shared memory, who writes them, and what is wrong with them.
#include <algorithm>
#include <iomanip>
#include <iostream>
#include <sstream>

#include "agents/common/ExitCode.h"
#include "agents/common/JsonWriter.h"
#include "agents/common/Log.h"
#include "agents/common/Printable.h"
#include "agents/common/Table.h"
#include "tools/mplsctl/Ages.h"
#include "tools/mplsctl/Options.h"
#include "tools/mplsctl/TableFiles.h"

namespace MplsCtl {

namespace {

using Agents::Json;
using Agents::printable;
using Agents::Row;

std::string hex(std::uint64_t number) {
  std::ostringstream text;
  text << std::hex << std::setfill('0') << std::setw(16) << number;
  return text.str();
}

/// A writer that is there may have given a table up.
bool isWritten(const TableFile& table) { return table.writer.isThere && table.head.writerPid != 0; }

std::string writerText(const TableFile& table) {
  const std::string name = printable(writerName(table.writer.agent, table.writer.pid));
  if (isWritten(table)) return name + " since " + secondsText(secondsSince(table.head.writerSince));
  return "none since " + secondsText(secondsSince(table.head.writerSeen)) +
         (name.empty() ? "" : ", was " + name);
}

Row rowOf(const TableFile& table) {
  const std::string name = table.name.empty() ? "-" : printable(table.name);
  const std::string problem = table.problem.empty() ? "-" : printable(table.problem);
  if (!table.problem.empty())
    return {printable(table.directory), name, "-", "-", "-", "-", "-", "-", problem};
  const TableHead& head = table.head;
  return {printable(table.directory),
          name,
          std::to_string(head.rows),
          std::to_string(head.segmentBytes + head.indexBytes),
          std::to_string(head.liveBytes),
          hex(head.generation),
          std::to_string(head.epoch),
          writerText(table),
          problem};
}

Json jsonOf(const TableFile& table) {
  Json json = {{"directory", table.directory}, {"table", table.name}};
  if (!table.problem.empty()) {
    json["problem"] = table.problem;
    return json;
  }
  const TableHead& head = table.head;
  Json writer = {
      {"agent", table.writer.agent}, {"pid", table.writer.pid}, {"present", isWritten(table)}};
  if (isWritten(table)) writer["sinceSeconds"] = secondsSince(head.writerSince);
  else writer["goneSeconds"] = secondsSince(head.writerSeen);
  json.update({{"rows", head.rows},
               {"segmentBytes", head.segmentBytes},
               {"indexBytes", head.indexBytes},
               {"liveBytes", head.liveBytes},
               {"keyBytes", head.keyBytes},
               {"maxRowBytes", head.maxRowBytes},
               {"schemaHash", hex(head.schemaHash)},
               {"generation", hex(head.generation)},
               {"epoch", head.epoch},
               {"writer", std::move(writer)}});
  return json;
}

int exitCodeOf(const TableFile& table) {
  if (table.problem.empty()) return Agents::exitGood;
  const bool isDamaged = table.isRead && table.head.state == TableHead::State::damaged;
  return isDamaged ? Agents::exitFault : Agents::exitDatabase;
}

}  // namespace

int tableShow(const Options& options) {
  std::vector<TableFile> tables;
  eachTable(options.run, [&tables](const TableFile& table) { tables.push_back(table); });
  if (options.json) {
    Agents::JsonWriter writer(std::cout, false);
    writer.begin();
    writer.list("tables", tables, jsonOf);
    writer.end();
  } else if (!tables.empty()) {
    std::vector<Row> rows{{"DIRECTORY", "TABLE", "ROWS", "BYTES", "LIVE BYTES", "GENERATION",
                           "EPOCH", "WRITER", "PROBLEM"}};
    for (const TableFile& table : tables) rows.push_back(rowOf(table));
    Agents::printTable(std::cout, rows);
  }
  int exitCode = Agents::exitGood;
  for (const TableFile& table : tables) exitCode = std::max(exitCode, exitCodeOf(table));
  if (!tables.empty()) return exitCode;
  Agents::Log(options.name).say("no tables below " + options.run);
  return Agents::exitDatabase;
}

}  // namespace MplsCtl
