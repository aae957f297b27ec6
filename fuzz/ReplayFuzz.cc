/// Reads any bytes as the events of a recorded router, a line each. What is not refused, with a
/// place, gives rows and labels within their bounds, whose texts read back.
#include <string>

#include "agents/replay/LineReader.h"
#include "agents/sr-agent/Router.h"
#include "agents/sr-agent/SrTables.h"
#include "fuzz/Check.h"

namespace {

/// The row's text gives the row again.
void requireText(const auto& row) {
  auto back = row;
  Forma::strepToValue(Forma::valueToStrep(row), &back);
  require(back == row);
}

void requireRows(const SrAgent::Rows& rows) {
  for (const auto& [key, row] : rows.v4Routes) requireText(row), require(row.key() == key);
  for (const auto& [key, row] : rows.v6Routes) requireText(row), require(row.key() == key);
  for (const auto& [key, row] : rows.prefixSegments) requireText(row), require(row.key() == key);
  for (const auto& [key, row] : rows.globalBlocks) {
    requireText(row);
    const std::uint32_t size = row.labelRange().size();
    require(size != 0 && row.mplsLabel({size - 1, false}) <= Netbase::MplsLabel::max);
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  std::string_view text = textOf(data, size);
  SrAgent::Router router(Replay::Document("{}", "config").node());
  while (!text.empty()) {
    const std::string_view line = text.substr(0, text.find('\n'));
    text.remove_prefix(std::min(text.size(), line.size() + 1));
    accepted<Replay::InputError>([&] { router.take(Replay::Document(line, "events").node()); });
    accepted<Replay::InputError>([&] {  // a line may be a whole configuration as well
      requireRows(SrAgent::Router(Replay::Document(line, "config").node()).rows());
    });
  }
  const SrAgent::Rows rows = router.rows();
  requireRows(rows);
  const auto status = Tarn::SegmentRouting::statusFactory("sr");
  SrAgent::writeRows(*status, rows);
  require(SrAgent::writeRows(*status, rows) == 0);
  const auto lfib = Mpls::lfibStatusFactory("lfib");
  SrAgent::writeLabels(lfib, router);
  require(SrAgent::writeLabels(lfib, router) == 0);
  return 0;
}
