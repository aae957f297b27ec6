#include "tools/mplsctl/LabelRecords.h"

#include "tools/mplsctl/Commands.h"

namespace MplsCtl {

namespace {

/// The number of the block in the range; none for one that lies outside, or askew.
std::optional<std::uint32_t> indexOf(const LabelView& view, const Mpls::LabelBlock& block) {
  if (!view.range || !view.range->issues(block)) return std::nullopt;
  return view.range->blockIdx(block.blockStart());
}

constexpr Column blockColumns[] = {{"client", "CLIENT"},
                                   {"id", "ID"},
                                   {"first", "FIRST LABEL", Kind::number},
                                   {"last", "LAST LABEL", Kind::number},
                                   {"block", "BLOCK", Kind::number}};
constexpr Column waitingColumns[] = {
    {"client", "CLIENT"}, {"id", "ID"}, {"seconds", "WAITS", Kind::seconds}};

constexpr Column rangeColumns[] = {{"name", "NAME"},
                                   {"mplsRouting", "ROUTING", Kind::flag},
                                   {"base", "BASE", Kind::number},
                                   {"size", "SIZE", Kind::number},
                                   {"blocks", "BLOCKS", Kind::number}};

}  // namespace

const RecordType labelBlockType{"block", blockColumns, 2};
const RecordType labelWaitType{"waiting", waitingColumns, 2};
const RecordType labelRangeType{"range", rangeColumns, 1};

RecordTypes labelTypes() {
  static const RecordType* const types[] = {&labelBlockType, &labelWaitType};
  return types;
}
RecordTypes labelWatchTypes() {
  static const RecordType* const types[] = {&labelRangeType, &labelBlockType, &labelWaitType};
  return types;
}

void fillRecord(Record& record, const LabelRequestKey& request, const Mpls::LabelBlock& block,
                const LabelView& view) {
  record.clear();
  record.text(request.first).text(request.second);
  record.number(block.blockStart().value()).number(lastLabel(block));
  const auto index = indexOf(view, block);
  if (index) record.number(*index);
  else record.none();
}

void fillRecord(Record& record, const LabelRequestKey& request,
                const std::optional<double>& seconds) {
  record.clear();
  record.text(request.first).text(request.second);
  if (seconds) record.seconds(*seconds);
  else record.none();
}

void fillRecord(Record& record, const LabelView& view) {
  record.clear();
  record.text("dynamic").flag(view.routing);
  if (!view.range) record.none().none().none();
  else
    record.number(view.range->base())
        .number(view.range->range().size())
        .number(view.range->blocks());
}

}  // namespace MplsCtl
