/// `mplsctl stat` and `mplsctl OBJECT stat`: how much there is; with --interval again and again,
/// and how fast it changes. With --json a line for each record then.
#include <iostream>

#include "agents/common/ExitCode.h"
#include "tools/mplsctl/Ages.h"
#include "tools/mplsctl/Commands.h"
#include "tools/mplsctl/Errors.h"
#include "tools/mplsctl/Output.h"
#include "tools/mplsctl/Query.h"
#include "tools/mplsctl/RecordJson.h"
#include "tools/mplsctl/StatReader.h"

namespace MplsCtl {

namespace {

/// One look as a document, or as tables; how many records there were.
std::size_t showOnce(StatReader& reader, const Options& options, bool withTime) {
  Output out(options);
  std::size_t records = 0;
  if (withTime) out.line(utcText(utcNow()));
  reader.look([&](const Record& record) {
    ++records;
    out.add(record);
  });
  out.end();
  return records;
}

/// One look, a JSON line for each record.
void showLines(StatReader& reader, const Options& options) {
  const std::string begin = "{\"time\":\"" + utcText(utcNow()) + "\",";
  std::string json;
  reader.look([&](const Record& record) {
    if (!isWanted(record.view(), options.filters)) return;
    json.clear();
    appendJson(json, record.view(), record.view().type->name);
    std::cout << begin << std::string_view(json).substr(1) << '\n';
  });
  std::cout.flush();
}

int showRepeatedly(Agents::Program& program, StatReader& reader, const Options& options) {
  std::uint64_t looks = 0;
  return repeat(program, options.interval, [&] {
    if (options.json) showLines(reader, options);
    else showOnce(reader, options, true);
    return ++looks != options.times;
  });
}

}  // namespace

int stat(const Options& options) {
  Agents::Program program(options, Agents::Program::Kind::query);
  StatReader reader(program, options);
  if (!reader.await()) return exitCodeOf(program);
  if (options.interval > 0) return showRepeatedly(program, reader, options);
  const std::size_t records = showOnce(reader, options, false);
  if (records != 0 || reader.exitCode() != Agents::exitGood) return reader.exitCode();
  tellError(options, ErrorCode::cannotOpen, "nothing to count below " + options.run, options.run);
  return Agents::exitDatabase;
}

RecordTypes statTypes() { return StatReader::types(); }

}  // namespace MplsCtl
