#include "platform/ringtrace/Abort.h"

#include <signal.h>
#include <time.h>
#include <unistd.h>

#include <array>
#include <atomic>
#include <cerrno>
#include <mutex>
#include <string_view>
#include <system_error>

#include "platform/ringtrace/RingTrace.h"
#include "platform/ringtrace/Stamp.h"

namespace RingTrace {
namespace {

/// The thread that prints, or has printed, on the way down; 0 when none.
constinit std::atomic<std::uint32_t> printer{0};
constinit std::atomic<bool> printed{false};

/// Gives the printing thread time to finish before the caller ends the process.
void awaitPrinted() {
  constexpr timespec tenMilliseconds{0, 10'000'000};
  for (int i = 0; i < 100 && !printed.load(std::memory_order_acquire); ++i)
    nanosleep(&tenMilliseconds, nullptr);
}

/// True when the caller is the one to print. A thread that fails while it prints must not wait for
/// itself.
bool claimPrint() {
  std::uint32_t holder = 0;
  if (printer.compare_exchange_strong(holder, threadNumber(), std::memory_order_acq_rel))
    return true;
  if (holder != threadNumber()) awaitPrinted();
  return false;
}

void print() {
  dump(STDERR_FILENO);
  printed.store(true,
                std::memory_order_release);  // release: pairs with the acquire in awaitPrinted
}

struct FatalSignal {
  int number;
  std::string_view name;
};
constexpr std::array fatalSignals{FatalSignal{SIGSEGV, "SIGSEGV"}, FatalSignal{SIGBUS, "SIGBUS"},
                                  FatalSignal{SIGILL, "SIGILL"}, FatalSignal{SIGFPE, "SIGFPE"},
                                  FatalSignal{SIGABRT, "SIGABRT"}};

std::string_view nameOf(int number) {
  for (const FatalSignal& one : fatalSignals) {
    if (one.number == number) return one.name;
  }
  return "signal";
}

void onFatalSignal(int number) {
  if (claimPrint()) {
    record("fatal signal ", nameOf(number));
    print();
  }
  struct sigaction byDefault {};
  byDefault.sa_handler = SIG_DFL;
  sigaction(number, &byDefault, nullptr);
  raise(number);  // taken when this handler returns
}

/// Guards what follows.
constinit std::mutex actionMutex;
constinit bool installed = false;
constinit std::array<struct sigaction, fatalSignals.size()> formerActions{};

void giveSignalStack() {
  alignas(16) static std::array<char, 65536> bytes;
  static bool given = false;
  stack_t stack{};
  if (given || sigaltstack(nullptr, &stack) != 0 || (stack.ss_flags & SS_DISABLE) == 0) return;
  stack = {};
  stack.ss_sp = bytes.data();
  stack.ss_size = bytes.size();
  given = sigaltstack(&stack, nullptr) == 0;
}

void exchangeAction(int number, const struct sigaction& next, struct sigaction* former) {
  if (sigaction(number, &next, former) != 0)
    throw std::system_error(errno, std::generic_category(), "cannot handle fatal signals");
}

}  // namespace

void printOnAbort() noexcept {
  const int error = errno;
  if (claimPrint()) print();
  errno = error;
}

void printOnFatalSignalIs(bool on) {
  const std::lock_guard lock(actionMutex);
  if (on == installed) return;
  if (on) giveSignalStack();
  struct sigaction ours {};
  ours.sa_handler = onFatalSignal;
  ours.sa_flags = SA_ONSTACK;
  // A second fault while the first is printed ends the process at once.
  sigfillset(&ours.sa_mask);
  for (std::size_t i = 0; i < fatalSignals.size(); ++i) {
    if (on) exchangeAction(fatalSignals[i].number, ours, &formerActions[i]);
    else exchangeAction(fatalSignals[i].number, formerActions[i], nullptr);
  }
  installed = on;
}

void forgetPrint() noexcept {
  printer.store(0, std::memory_order_relaxed);
  printed.store(false, std::memory_order_relaxed);
}

}  // namespace RingTrace
