#include "tools/mplsctl/WriterText.h"

#include <optional>

#include "tools/mplsctl/Ages.h"

namespace MplsCtl {

namespace {

/// Seconds since the writer was there last; none when the table tells of no writer.
std::optional<double> goneFor(const Tarn::TableView& view) {
  const std::uint64_t seen = view.tableState().writerSeen;
  return seen == 0 ? std::nullopt : std::optional(secondsSince(seen));
}

}  // namespace

std::string writerText(const Tarn::ReaderDirectory& directory, const Tarn::TableView& view) {
  const auto& writer = directory.writer();
  const std::string name = writerName(writer.agent, writer.pid);
  if (writer.isThere) return "writer " + name;
  const std::optional<double> gone = goneFor(view);
  return "no writer" + (gone ? " since " + secondsText(*gone) : "") +
         (name.empty() ? "" : ", was " + name);
}

Agents::Json directoryJson(const Tarn::ReaderDirectory& directory, const Tarn::TableView& view) {
  const auto& writer = directory.writer();
  Agents::Json json = {{"agent", writer.agent}, {"pid", writer.pid}, {"present", writer.isThere}};
  if (const auto gone = goneFor(view); gone && !writer.isThere) json["goneSeconds"] = *gone;
  return {{"directory", directory.path()}, {"writer", std::move(json)}};
}

}  // namespace MplsCtl
