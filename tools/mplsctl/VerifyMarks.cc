#include "tools/mplsctl/VerifyMarks.h"

#include <iterator>

namespace MplsCtl {

RowMarks::Segment* RowMarks::find(const std::byte* row) {
  auto at = segments_.upper_bound(row);
  if (at == segments_.begin()) return nullptr;
  Segment& segment = std::prev(at)->second;
  return row < segment.begin + segment.bytes ? &segment : nullptr;
}

/// Those that the view has mapped since the last time.
void RowMarks::readSegments() {
  const auto numbers =
      static_cast<std::uint32_t>(view_.state().nextSegment.load(std::memory_order_acquire));
  for (std::uint32_t number = 0; number < numbers && number < Tarn::segmentLimit; ++number) {
    if (view_.segmentBytes(number) == 0) continue;
    const Tarn::Mapping* const mapping = view_.segmentMapping(number);
    if (mapping == nullptr || segments_.contains(mapping->data())) continue;
    const std::size_t places = mapping->size / Tarn::placeStep;
    segments_[mapping->data()] = {mapping->data(), mapping->size, std::vector<bool>(places)};
  }
}

}  // namespace MplsCtl
