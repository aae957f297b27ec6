/// Lets so many snapshots be sent at a time, so that many readers that come at once are served one
/// after the other rather than all slowly. A snapshot whose reader is slow gives its place up.
///
/// Thread    that of the event loop.
#pragma once

#include <cstddef>
#include <deque>
#include <vector>

#include "platform/kiln/EventLoop.h"

namespace Centrum {

struct Subscription;

class SnapshotGate {
 public:
  /// Seconds without a new piece after which a snapshot does not count any more.
  static constexpr double patience = 1.0;

  SnapshotGate(Kiln::EventLoop& loop, std::size_t limit);

  /// True when the snapshot may begin; otherwise Feed::admitted is called later.
  bool enter(Subscription& subscription);
  /// A piece of it was sent.
  void progressed(Subscription& subscription);
  /// It has ended, or does not want to begin any more.
  void leave(Subscription& subscription);

 private:
  void admitNext();
  void takeIn(Subscription& subscription);
  void dropSlow();

  Kiln::EventLoop& loop_;
  const std::size_t limit_;
  std::vector<Subscription*> active_;
  std::deque<Subscription*> waiting_;
  Kiln::Timer slowTimer_;  // runs while somebody waits
};

}  // namespace Centrum
