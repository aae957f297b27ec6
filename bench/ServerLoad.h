/// What a slow subscriber costs the server, and so all others.
#pragma once

namespace Bench {

struct ServerLoad {
  double cpuAlone;        ///< nanoseconds of the server for a change, with 20 subscribers
  double cpuWithSlow;     ///< the same beside one that takes 1 kB/s
  double memoryAlone;     ///< bytes of the server, with 20 subscribers
  double memoryWithSlow;  ///< the same beside the slow one
};

/// Raises std::runtime_error when the slow one does not have the newest rows once its limit is
/// lifted, or a fast one missed a change.
ServerLoad measureServerLoad();

}  // namespace Bench
