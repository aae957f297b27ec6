/// Tells cheaply whether a table changed. Private to platform/tarn.
///
/// Thread    that of the view.
#pragma once

#include <atomic>
#include <cstdint>

#include "platform/tarn/TableView.h"

namespace Tarn {

/// What moves with each change of a table.
struct Stamp {
  std::uint64_t generation = 0;
  std::uint64_t changes = 0;
  std::uint64_t retired = 0;

  bool operator==(const Stamp&) const = default;

  /// That of a view of nothing is all zeros.
  static Stamp of(const TableView& view) {
    if (!view.isAttached()) return {};
    const HeadState& state = view.state();
    return {view.fixed().generation, state.changes.load(std::memory_order_relaxed),
            state.retired.load(std::memory_order_relaxed)};
  }
};

}  // namespace Tarn
