/// The dynamic label range, cut into blocks.
#pragma once

#include <algorithm>
#include <cstdint>

#include "mpls/labelmgr/LabelBlock.h"
#include "mpls/types/LabelRangeInfo.h"

namespace Mpls {

/// Block i starts at base + i * LabelBlock::blockSize. What is left over at the top is never used,
/// and neither is label 1048575. The machine and the plan decide by this alone.
class DynamicRange {
 public:
  /// (0, 0) stands for the default range. A range that was never set raises RangeException
  /// "LabelRange::base > Netbase::MplsLabel::max not allowed".
  explicit DynamicRange(const LabelRange& configured) : range_(configured) {
    if (range_ == LabelRange(0, 0)) range_ = LabelRangeInfo::dynamicDefaultRange;
    range_.check();
  }

  const LabelRange& range() const { return range_; }
  std::uint32_t base() const { return range_.base().value(); }
  /// One above the last label.
  std::uint32_t max() const { return base() + range_.size(); }
  /// How many whole blocks there are.
  std::uint32_t blocks() const {
    const std::uint32_t end = std::min(max(), Netbase::MplsLabel::max);
    return base() < end ? (end - base()) / LabelBlock::blockSize : 0;
  }

  /// Where block `index` starts, which need not be a label: the index may be any number.
  std::uint64_t start(std::uint32_t index) const {
    return base() + std::uint64_t{index} * LabelBlock::blockSize;
  }
  /// The block in which `label` lies; a huge one for labels below the base.
  std::uint32_t blockIdx(Netbase::MplsLabel label) const {
    return (label.value() - base()) / LabelBlock::blockSize;
  }
  /// Whether all labels of the block lie in the range.
  bool contains(const LabelBlock& block) const {
    const std::uint32_t start = block.blockStart().value();
    return base() <= start && start + LabelBlock::blockSize <= max();
  }
  /// Whether the block is one of those that are given out.
  bool issues(const LabelBlock& block) const {
    const std::uint32_t at = block.blockStart().value();
    return at >= base() && at < max() && blockIdx(at) < blocks() && start(blockIdx(at)) == at;
  }

 private:
  LabelRange range_;
};

}  // namespace Mpls
