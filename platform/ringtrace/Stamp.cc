#include "platform/ringtrace/Stamp.h"

#include <unistd.h>

namespace RingTrace {
namespace {

// initial-exec: the first use in a thread must not allocate, it may be in a signal handler.
[[gnu::tls_model("initial-exec")]] constinit thread_local std::uint32_t number = 0;

}  // namespace

std::uint32_t threadNumber() noexcept {
  if (number == 0) number = static_cast<std::uint32_t>(gettid());
  return number;
}

void forgetThreadNumber() noexcept { number = 0; }

}  // namespace RingTrace
