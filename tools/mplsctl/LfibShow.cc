/// `mplsctl lfib show`: the routes in the LFIB, each with the vias that it leads over, in the order
/// of the table.
#include "agents/common/ExitCode.h"
#include "tools/mplsctl/LfibRecords.h"
#include "tools/mplsctl/Output.h"

namespace MplsCtl {

int lfibShow(const Options& options) {
  LfibReader reader(options, false);
  if (!reader.await()) return reader.exitCode();
  std::size_t rows = 0;
  for (const auto& one : reader.directories()) rows += one->lfib().lfibRouteTable().rows();
  Output out(options, rows);
  out.fact("directories", reader.json());
  bool isFirst = true;
  for (const auto& one : reader.directories()) {
    if (!std::exchange(isFirst, false)) out.line("");
    out.line(LfibReader::titleOf(*one));
    eachLfibRecord(*one, [&out](const Record& record) { return out.add(record); });
  }
  return out.end(reader.exitCode());
}

}  // namespace MplsCtl
