/// What forking needs to tell the printing on the way down.
#pragma once

namespace RingTrace {

/// To be called in a forked child: it has printed nothing yet.
void forgetPrint() noexcept;

}  // namespace RingTrace
