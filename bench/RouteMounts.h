/// What it costs to mount the routes of a large switch, and to follow them again after the
/// connection was lost.
#pragma once

#include <cstdint>

namespace Bench {

/// Nanoseconds.
struct MountTimes {
  double first;      ///< from doClose to doMountsComplete, of an agent that has nothing yet
  double reconnect;  ///< from the connection until the mount follows again, when nothing changed
  double resume;     ///< the same when one route in a hundred has changed meanwhile
  /// Building the same entities, in the process that receives as many bytes over a raw stream.
  double floor;
};

/// Routes have one via each.
MountTimes measureMounts(std::uint32_t routes);

}  // namespace Bench
