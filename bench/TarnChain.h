/// Tables in shared memory as agents use them: the writer's loop rings its readers at the end of
/// each turn, and a reader's listener hears of the keys and looks them up. There is no server.
#pragma once

#include "bench/Chain.h"

namespace Bench {

class TarnChain : public Chain {
 public:
  TarnChain();
};

/// Nanoseconds of a change for a writer with `running` readers that follow it, and as many more
/// that are stopped.
double measureTarnAudience(unsigned running, unsigned stopped);

}  // namespace Bench
