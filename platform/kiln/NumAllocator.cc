#include "platform/kiln/NumAllocator.h"

#include <cmath>
#include <exception>
#include <iterator>

namespace Kiln {

NumAllocator::NumAllocator(Forma::Ptr<NumAllocatorConfig const> config,
                           Forma::Ptr<NumAllocatorStatus> status, TimerWheel& wheel)
    : config_(Forma::validPtr(std::move(config))),
      status_(Forma::validPtr(std::move(status))),
      wheel_(wheel),
      timer_(wheel, [this] { handleExpiry(); }),
      configReactor_(*this) {
  configReactor_.notifierIs(config_);
  handleConfig();
}

NumAllocator::~NumAllocator() = default;

std::int64_t NumAllocator::getNumber() {
  readConfig();
  std::int64_t number = noNumber;
  if (!untouched_.empty()) number = untouched_.first();
  else if (released_.begin() != firstWaiting_) number = released_.front().number;
  if (number != noNumber) reserve(static_cast<std::uint32_t>(number));
  TimerWheel& wheel = wheel_;
  try {
    publish();
  } catch (...) {  // the number is reserved: without it the caller could never release it
    wheel.timerIs(wheel.now(),
                  [problem = std::current_exception()] { std::rethrow_exception(problem); });
  }
  return number;
}

bool NumAllocator::isReserved(std::uint32_t number) const {
  const auto found = touched_.find(number);
  return found != touched_.end() && found->second == released_.end() &&
         config_->range().contains(number);
}

bool NumAllocator::reserveNumber(std::uint32_t number) {
  readConfig();
  const bool done = reserve(number);
  publish();
  return done;
}

bool NumAllocator::releaseNumber(std::uint32_t number) {
  readConfig();
  const bool done = release(number);
  publish();
  return done;
}

void NumAllocator::handleConfig() {
  readConfig();
  publish();
}

/// Follows the config and the clock. Every call begins with it: another observer of the config may
/// hear of a change first and call.
void NumAllocator::readConfig() {
  if (config_->range() != range_) applyRange(config_->range());
  if (config_->expiryTime() != expiryTime_) {
    expiryTime_ = config_->expiryTime();
    firstWaiting_ = released_.begin();  // all are judged anew
  }
  freeExpired();
}

void NumAllocator::applyRange(const Range& range) {
  while (!touched_.empty() && touched_.begin()->first < range.first()) forget(touched_.begin());
  while (!touched_.empty() && touched_.rbegin()->first > range.last())
    forget(std::prev(touched_.end()));
  untouched_.keepOnly(range);
  const Range old = std::exchange(range_, range);
  if (range.empty()) return;
  if (old.empty() || range.last() < old.first() || range.first() > old.last())
    return untouched_.add(range);
  if (range.first() < old.first()) untouched_.add({range.first(), old.first() - 1});
  if (range.last() > old.last()) untouched_.add({old.last() + 1, range.last()});
}

void NumAllocator::forget(Touched::iterator touched) {
  if (touched->second != released_.end()) dequeue(touched->second);
  touched_.erase(touched);
}

void NumAllocator::dequeue(Queue::iterator released) {
  if (released == firstWaiting_) ++firstWaiting_;
  released_.erase(released);
}

bool NumAllocator::reserve(std::uint32_t number) {
  if (!range_.contains(number)) return false;
  const auto [touched, isNew] = touched_.try_emplace(number, released_.end());
  if (isNew) {
    untouched_.remove(number);
    return true;
  }
  if (touched->second == released_.end()) return false;
  dequeue(std::exchange(touched->second, released_.end()));
  return true;
}

bool NumAllocator::release(std::uint32_t number) {
  const auto found = touched_.find(number);
  if (found == touched_.end() || found->second != released_.end()) return false;
  found->second = released_.insert(released_.end(), {number, wheel_.now()});
  if (firstWaiting_ == released_.end()) firstWaiting_ = found->second;
  return true;
}

/// Those that were released first expire first: the clock never runs backwards.
void NumAllocator::freeExpired() {
  if (firstWaiting_ == released_.end()) return;
  const double now = wheel_.now();
  while (firstWaiting_ != released_.end() && expiryOf(*firstWaiting_) <= now) {
    const auto end = endOfBatch();
    if (!(expiryOf(*std::prev(end)) <= now)) return;
    firstWaiting_ = end;
  }
}

/// Behind the last of the waiting numbers that become free together; some number must wait.
NumAllocator::Queue::iterator NumAllocator::endOfBatch() {
  auto end = std::next(firstWaiting_);
  for (std::uint32_t count = 1; count < config_->moveCount() && end != released_.end(); ++count)
    ++end;
  return end;
}

/// Only who waits for a number cares when the next is free; all others read the clock in time.
void NumAllocator::scheduleExpiry(bool exhausted) {
  timer_.cancel();
  if (!exhausted || firstWaiting_ == released_.end()) return;
  const double at = expiryOf(*std::prev(endOfBatch()));
  if (std::isfinite(at)) timer_.scheduleAt(at);
}

/// The last act of every call, as observers may change everything and destroy the allocator.
void NumAllocator::publish() {
  freeExpired();
  const bool exhausted = untouched_.empty() && released_.begin() == firstWaiting_;
  scheduleExpiry(exhausted);
  const Forma::Ptr<NumAllocatorStatus> status = status_;
  status->rangeExhaustedIs(exhausted);
}

}  // namespace Kiln
