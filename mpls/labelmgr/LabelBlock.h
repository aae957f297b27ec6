/// What the label manager gives to a client agent.
#pragma once

#include <cstdint>

#include "mpls/types/Namespace.h"
#include "platform/netbase/MplsLabel.h"

namespace Mpls {

/// The labels from `blockStart` to `blockStart` + blockSize - 1. One that was never set starts at
/// 1048576, outside of every label range.
///
/// Text      that of the first label.
class LabelBlock {
  FORMA_VALUE(Mpls::LabelBlock, blockStart)
  /// The first label.
  FORMA_FIELD(Netbase::MplsLabel, blockStart)
 public:
  /// In labels; the same for all blocks.
  static constexpr std::uint32_t blockSize = 16384;

  constexpr LabelBlock() = default;
  explicit constexpr LabelBlock(Netbase::MplsLabel blockStart) : blockStart_(blockStart) {}
};

}  // namespace Mpls
