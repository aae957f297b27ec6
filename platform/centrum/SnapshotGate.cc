#include "platform/centrum/SnapshotGate.h"

#include <algorithm>

#include "platform/centrum/Feed.h"

namespace Centrum {

SnapshotGate::SnapshotGate(Kiln::EventLoop& loop, std::size_t limit)
    : loop_(loop),
      limit_(std::max<std::size_t>(limit, 1)),
      slowTimer_(loop.timers(), [this] { dropSlow(); }) {}

bool SnapshotGate::enter(Subscription& subscription) {
  if (waiting_.empty() && active_.size() < limit_) {
    takeIn(subscription);
    return true;
  }
  waiting_.push_back(&subscription);
  if (!slowTimer_.pending()) slowTimer_.scheduleAfter(patience);
  return false;
}

void SnapshotGate::takeIn(Subscription& subscription) {
  active_.push_back(&subscription);
  subscription.countsAtGate = true;
  progressed(subscription);
}

void SnapshotGate::progressed(Subscription& subscription) {
  if (subscription.countsAtGate) subscription.progress = loop_.now();
}

void SnapshotGate::leave(Subscription& subscription) {
  if (subscription.state == Subscription::State::atGate) std::erase(waiting_, &subscription);
  if (!subscription.countsAtGate) return;
  subscription.countsAtGate = false;
  std::erase(active_, &subscription);
  admitNext();
}

void SnapshotGate::admitNext() {
  while (!waiting_.empty() && active_.size() < limit_) {
    Subscription& next = *waiting_.front();
    waiting_.pop_front();
    takeIn(next);
    next.feed.admitted(next);
  }
}

void SnapshotGate::dropSlow() {
  const double since = loop_.now() - patience;
  std::erase_if(active_, [since](Subscription* one) {
    if (one->progress > since) return false;
    one->countsAtGate = false;
    return true;
  });
  admitNext();
  if (!waiting_.empty()) slowTimer_.scheduleAfter(patience);
}

}  // namespace Centrum
