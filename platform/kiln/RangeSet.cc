#include "platform/kiln/RangeSet.h"

#include <iterator>
#include <utility>

namespace Kiln {

void RangeSet::add(const Range& range) {
  if (range.empty()) return;
  std::uint32_t last = range.last();
  auto next = ranges_.upper_bound(range.first());
  if (next != ranges_.end() && next->first == last + 1) {
    last = next->second;
    next = ranges_.erase(next);
  }
  if (next != ranges_.begin() && std::prev(next)->second + 1 == range.first())
    std::prev(next)->second = last;
  else ranges_.emplace_hint(next, range.first(), last);
}

void RangeSet::remove(std::uint32_t number) {
  const auto at = std::prev(ranges_.upper_bound(number));
  const auto [first, last] = *at;
  if (first < number) {
    at->second = number - 1;
    if (number < last) ranges_.emplace_hint(std::next(at), number + 1, last);
    return;
  }
  auto rest = ranges_.extract(at);  // the usual case: the place in memory is used again
  if (number == last) return;
  rest.key() = number + 1;
  ranges_.insert(std::move(rest));
}

void RangeSet::keepOnly(const Range& range) {
  while (!empty() && ranges_.begin()->first < range.first()) {
    const std::uint32_t last = ranges_.begin()->second;
    ranges_.erase(ranges_.begin());
    if (last >= range.first()) ranges_.emplace(range.first(), last);
  }
  while (!empty() && ranges_.rbegin()->second > range.last()) {
    if (ranges_.rbegin()->first > range.last()) ranges_.erase(std::prev(ranges_.end()));
    else ranges_.rbegin()->second = range.last();
  }
}

}  // namespace Kiln
