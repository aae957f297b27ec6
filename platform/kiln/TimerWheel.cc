#include "platform/kiln/TimerWheel.h"

#include <algorithm>
#include <bit>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <stdexcept>
#include <tuple>
#include <utility>

namespace Kiln {

namespace {

constexpr double ticksPerSecond = 1000;
constexpr double infinity = std::numeric_limits<double>::infinity();

/// The tick that `time` (seconds) lies in. Never decreases with time, which is all that the wheel
/// needs: times before zero share the first tick, those beyond 2^63 share the last.
std::uint64_t tickOf(double time) {
  const double tick = time * ticksPerSecond;
  if (!(tick > 0)) return 0;
  if (tick >= 0x1p63) return std::uint64_t{1} << 63;
  return static_cast<std::uint64_t>(tick);
}

}  // namespace

TimerWheel::TimerWheel(const Clock& clock) : clock_(clock), tick_(tickOf(clock.now())) {}

TimerWheel::~TimerWheel() {
  if (!due_.empty()) {
    std::fputs("Kiln: a timer wheel was destroyed by the handler of one of its timers\n", stderr);
    std::abort();
  }
  clear();
}

TimerId TimerWheel::timerIs(double at, Handler handler) {
  if (!std::isfinite(at)) throw std::invalid_argument("TimerWheel: the time is not finite");
  if (!handler) throw std::invalid_argument("TimerWheel: a timer needs a handler");
  if (free_ == noNode) {
    nodes_.emplace_back();
    free_ = static_cast<std::uint32_t>(nodes_.size() - 1);
  }
  const std::uint32_t index = free_;
  Node& node = nodes_[index];
  free_ = node.next;
  node.at = at;
  node.serial = ++serial_;
  node.handler = std::move(handler);
  ++size_;
  link(index, listOf(tickOf(at)));
  return {node.serial, index};
}

bool TimerWheel::timerDel(TimerId id) {
  if (!pending(id)) return false;
  if (nodes_[id.node].list != noList) unlink(id.node);
  const Handler dead = release(id.node);  // dies last: what it owns may come back for other timers
  return true;
}

double TimerWheel::nextExpiry() const {
  double next = lists_[nearList].earliest;
  for (std::size_t i = nextDue_; i < due_.size(); ++i) {  // only when a handler asks
    if (!pending(due_[i].id)) continue;
    next = std::min(next, due_[i].at);
    break;
  }
  if (next < infinity || levelsInUse_ == 0) return next;
  const auto level = static_cast<unsigned>(std::countr_zero(levelsInUse_));
  const auto slot = static_cast<unsigned>(std::countr_zero(slotsInUse_[level]));
  return lists_[level * slotCount + slot].earliest;
}

std::size_t TimerWheel::runExpired() {
  return runExpired([](const std::exception_ptr& problem) { std::rethrow_exception(problem); });
}

std::size_t TimerWheel::runExpired(const ExceptionHandler& onException) {
  if (!due_.empty()) throw std::logic_error("TimerWheel: runExpired was called by a timer");
  struct PutBack {
    TimerWheel& wheel;
    ~PutBack() { wheel.putBackDue(); }
  } const atTheEnd{*this};
  collectDue(now());
  std::size_t count = 0;
  while (nextDue_ < due_.size()) {
    const TimerId id = due_[nextDue_++].id;
    if (!pending(id)) continue;  // cancelled by one that ran before it
    const Handler handler = release(id.node);
    ++count;
    try {
      handler();
    } catch (...) {
      onException(std::current_exception());
    }
  }
  return count;
}

void TimerWheel::clear() {
  std::deque<Node> dead;
  dead.swap(nodes_);  // dies last, when the wheel is empty and may be called again
  free_ = noNode;
  size_ = 0;
  lists_.fill(List{});
  slotsInUse_.fill(0);
  levelsInUse_ = 0;
}

/// The list of a tick as seen from where the wheel stands. The highest digit (base 64) in which the
/// two differ gives the level, so all of a lower level come before all of a higher one, and within
/// a level the slots are in the order of time and ahead of the wheel's own digit.
std::uint32_t TimerWheel::listOf(std::uint64_t tick) const {
  if (tick <= tick_) return nearList;
  const unsigned level = (static_cast<unsigned>(std::bit_width(tick ^ tick_)) - 1) / slotBits;
  const auto slot = static_cast<unsigned>(tick >> (level * slotBits)) & (slotCount - 1);
  return level * slotCount + slot;
}

void TimerWheel::link(std::uint32_t index, std::uint32_t list) {
  Node& node = nodes_[index];
  List& to = lists_[list];
  node.list = list;
  node.previous = noNode;
  node.next = to.head;
  if (to.head != noNode) nodes_[to.head].previous = index;
  to.head = index;
  to.earliest = std::min(to.earliest, node.at);
  if (list == nearList) return;
  slotsInUse_[list / slotCount] |= std::uint64_t{1} << list % slotCount;
  levelsInUse_ |= 1U << list / slotCount;
}

void TimerWheel::unlink(std::uint32_t index) {
  Node& node = nodes_[index];
  if (node.next != noNode) nodes_[node.next].previous = node.previous;
  if (node.previous != noNode) nodes_[node.previous].next = node.next;
  else lists_[node.list].head = node.next;
  if (lists_[node.list].head == noNode) listIsEmpty(node.list);
  node.list = noList;
}

void TimerWheel::listIsEmpty(std::uint32_t list) {
  lists_[list] = List{};
  if (list == nearList) return;
  std::uint64_t& slots = slotsInUse_[list / slotCount];
  slots &= ~(std::uint64_t{1} << list % slotCount);
  if (slots == 0) levelsInUse_ &= ~(1U << list / slotCount);
}

/// Frees the node of a timer that is in no list.
TimerWheel::Handler TimerWheel::release(std::uint32_t index) {
  Node& node = nodes_[index];
  node.serial = 0;
  node.next = free_;
  free_ = index;
  --size_;
  return std::exchange(node.handler, nullptr);
}

/// Turns the wheel to `tick`, from one list in use to the next: empty ones are never looked at.
void TimerWheel::reach(std::uint64_t tick) {
  while (levelsInUse_ != 0) {
    const auto level = static_cast<unsigned>(std::countr_zero(levelsInUse_));
    const auto slot = static_cast<unsigned>(std::countr_zero(slotsInUse_[level]));
    const unsigned shift = level * slotBits;
    const std::uint64_t above = (tick_ >> shift) & ~std::uint64_t{slotCount - 1};
    const std::uint64_t start = (above | slot) << shift;
    if (start > tick) break;
    tick_ = start;
    spread(level * slotCount + slot, tick);
  }
  tick_ = std::max(tick_, tick);  // no list in use starts before, so every timer is still in place
}

/// Moves the timers of a list whose first tick is reached to lower levels; those due by `tick` go
/// straight to the near list.
void TimerWheel::spread(std::uint32_t list, std::uint64_t tick) {
  std::uint32_t index = lists_[list].head;
  listIsEmpty(list);
  while (index != noNode) {
    const std::uint32_t next = nodes_[index].next;
    const std::uint64_t at = tickOf(nodes_[index].at);
    link(index, at <= tick ? nearList : listOf(at));
    index = next;
  }
}

/// Takes what is due out of the lists, in the order in which it is to run. Timers of the current
/// tick that are still to come stay in the near list.
void TimerWheel::collectDue(double now) {
  reach(tickOf(now));
  if (lists_[nearList].earliest > now) return;
  double earliest = infinity;
  for (std::uint32_t index = lists_[nearList].head; index != noNode;) {
    const Node& node = nodes_[index];
    const std::uint32_t next = node.next;
    if (node.at <= now) {
      due_.push_back({node.at, {node.serial, index}});
      unlink(index);
    } else {
      earliest = std::min(earliest, node.at);
    }
    index = next;
  }
  lists_[nearList].earliest = earliest;
  std::sort(due_.begin(), due_.end(), [](const Due& a, const Due& b) {
    return std::tie(a.at, a.id.serial) < std::tie(b.at, b.id.serial);
  });
}

/// Ends a run: what an exception kept from running is due again.
void TimerWheel::putBackDue() {
  for (; nextDue_ < due_.size(); ++nextDue_)
    if (const TimerId id = due_[nextDue_].id; pending(id)) link(id.node, nearList);
  due_.clear();
  nextDue_ = 0;
}

Timer::Timer(TimerWheel& wheel, TimerWheel::Handler handler) : wheel_(wheel) {
  if (!handler) throw std::invalid_argument("Timer: there is no handler");
  handler_ = std::make_shared<const TimerWheel::Handler>(std::move(handler));
}

void Timer::scheduleAt(double at) {
  const TimerId next = wheel_.timerIs(at, [this] { run(); });
  cancel();
  id_ = next;
}

void Timer::run() {
  const auto handler = handler_;
  (*handler)();
}

}  // namespace Kiln
