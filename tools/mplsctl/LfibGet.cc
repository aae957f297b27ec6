/// `mplsctl lfib get LABEL [METRIC]`: the routes of one label, by one lookup for each metric.
#include "agents/common/ExitCode.h"
#include "tools/mplsctl/Errors.h"
#include "tools/mplsctl/LfibRecords.h"
#include "tools/mplsctl/Output.h"

namespace MplsCtl {

int lfibGet(const Options& options) {
  LfibReader reader(options, false);
  if (!reader.await()) return reader.exitCode();
  Output out(options);
  out.fact("directories", reader.json());
  Record record(lfibRouteType);
  std::size_t found = 0;
  const unsigned first = options.metric.value_or(0), last = options.metric.value_or(255);
  for (const auto& one : reader.directories())
    for (unsigned metric = first; metric <= last; ++metric) {
      const auto entry =
          lfibEntryOf(one->lfib(), {options.label, static_cast<std::uint8_t>(metric)});
      if (!entry) continue;
      ++found;
      out.line(lfibLine(*entry) + " (" + one->path() + ", " + one->writerText() + ")");
      fillRecord(record, one->path(), *entry);
      if (options.json || options.count) out.add(record);
    }
  out.end();
  if (found != 0 || reader.exitCode() != Agents::exitGood) return reader.exitCode();
  tellError(options, ErrorCode::notFound,
            "no route of label " + std::to_string(options.label) +
                (options.metric ? " metric " + std::to_string(*options.metric) : ""));
  return Agents::exitProblem;
}

}  // namespace MplsCtl
