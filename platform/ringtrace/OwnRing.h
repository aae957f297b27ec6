/// The one ring of this process.
#pragma once

#include <atomic>
#include <cstdint>

#include "platform/ringtrace/Ring.h"

namespace RingTrace {

/// Constant-initialised and trivially destroyed: good before main() and to the very end.
struct OwnRing {
  /// Where messages go: private memory, or a mapped file. A ring, once named here, stays valid
  /// until the process ends, since a writer may be inside.
  std::atomic<const Ring*> ring;
  /// Of the next message. Goes on when the ring is replaced, and is above all sequences in it.
  std::atomic<std::uint64_t> nextSequence;
};

extern constinit OwnRing ownRing;

}  // namespace RingTrace
