#include "platform/centrum/Feed.h"

#include <algorithm>
#include <utility>

#include "platform/centrum/MountTable.h"
#include "platform/centrum/ServerShared.h"

namespace Centrum {

namespace {

constexpr std::size_t enoughForOneWrite = 64U << 10;

}  // namespace

Subscription::Subscription(Feed& reader, ServerMount& of)
    : feed(reader), mount(of), cursor(of.place.path) {
  mount.place.readers.push_back(this);
}

Subscription::~Subscription() {
  feed.forget(*this);
  std::erase(mount.place.readers, this);
}

Feed::Feed(ServerShared& shared, std::function<void()> wake)
    : shared_(shared), wake_(std::move(wake)) {}

void Feed::start(Subscription& subscription, bool snapshot) {
  markDueIs();
  if (snapshot) startSnapshot(subscription);
  else enqueue(subscription, State::live);
}

void Feed::markDueIs() {
  markDue_ = true;
  wake_();
}

/// What fits into one piece does not wait for others.
void Feed::startSnapshot(Subscription& subscription) {
  subscription.cursor.toHead();
  subscription.begun = false;
  const bool small = subscription.mount.place.path.bytes() < shared_.options.chunkBytes;
  if (small || subscription.countsAtGate || shared_.gate.enter(subscription)) {
    enqueue(subscription, State::snapshot);
  } else {
    subscription.state = State::atGate;
    ++atGate_;
  }
}

void Feed::admitted(Subscription& subscription) {
  --atGate_;
  subscription.cursor.toHead();
  enqueue(subscription, State::snapshot);
  wake_();
}

void Feed::enqueue(Subscription& subscription, State state) {
  subscription.state = state;
  (state == State::live ? live_ : snapshots_).push_back(&subscription);
}

void Feed::changed(Subscription& subscription) {
  if (subscription.group == group_) splitDue_ = true;
  if (subscription.state == State::idle) enqueue(subscription, State::live);
  wake_();
}

void Feed::ownerChanged(Subscription& subscription) {
  if (!std::exchange(subscription.ownerDue, true)) ownersDue_.push_back(&subscription);
  wake_();
}

void Feed::onceIs(Subscription& subscription) {
  subscription.once = true;
  if (subscription.state == State::idle) end(subscription);
}

void Feed::end(Subscription& subscription) { subscription.mount.subscription.reset(); }

void Feed::forget(Subscription& subscription) {
  if (subscription.ownerDue) std::erase(ownersDue_, &subscription);
  if (subscription.state == State::live) std::erase(live_, &subscription);
  if (subscription.state == State::snapshot) std::erase(snapshots_, &subscription);
  if (subscription.state == State::atGate) --atGate_;
  shared_.gate.leave(subscription);
}

void Feed::fill(OutBuffer& out) {
  addOwners(out);
  while (!out.hasPiece() && out.size() < enoughForOneWrite) {
    if (splitDue_) addMark(out, false);
    Subscription* subscription = next();
    if (subscription) addPiece(out, *subscription);
    endGroup(out);
    if (!subscription) return;
  }
}

/// The next subscription that has something; the queues take turns.
Subscription* Feed::next() {
  snapshotsTurn_ = !snapshotsTurn_;
  const bool snapshot = live_.empty() || (snapshotsTurn_ && !snapshots_.empty());
  auto& queue = snapshot ? snapshots_ : live_;
  if (queue.empty()) return nullptr;
  Subscription* first = queue.front();
  queue.pop_front();
  return first;
}

void Feed::addOwners(OutBuffer& out) {
  for (Subscription* subscription : std::exchange(ownersDue_, {})) {
    subscription->ownerDue = false;
    out.add(subscription->mount.place.ownerMessage(shared_.loop.now()));
  }
}

void Feed::addPiece(OutBuffer& out, Subscription& subscription) {
  const State queue = std::exchange(subscription.state, State::idle);
  if (subscription.cursor.lost()) {
    if (subscription.group == group_) splitDue_ = true;
    return startSnapshot(subscription);
  }
  const bool snapshot = queue == State::snapshot;
  const bool begin = snapshot && !std::exchange(subscription.begun, true);
  const Place& place = subscription.mount.place;
  auto piece =
      place.path.nextDelta(subscription.cursor, shared_.options.chunkBytes, snapshot, begin);
  if (piece) {
    subscription.group = group_;
    groupOpen_ = true;
    liveInGroup_ |= !snapshot;
    if (!place.ofServer) ++shared_.activity;
    out.add(std::move(piece));
  }
  pieceAdded(subscription, queue);
}

void Feed::pieceAdded(Subscription& subscription, State queue) {
  if (!subscription.cursor.atEnd()) {
    shared_.gate.progressed(subscription);
    return enqueue(subscription, queue);
  }
  shared_.gate.leave(subscription);
  if (subscription.once) end(subscription);
}

/// Marks the end of a group when there is reason to.
void Feed::endGroup(OutBuffer& out) {
  if (!live_.empty()) return;
  const bool complete = snapshots_.empty() && atGate_ == 0;
  if (complete ? groupOpen_ || markDue_ : liveInGroup_) addMark(out, complete);
}

/// An incomplete Mark carries the sequence of the last complete one: so much the reader has of
/// every path.
void Feed::addMark(OutBuffer& out, bool complete) {
  if (complete) {
    marked_ = shared_.database->sequence();
    markDue_ = false;
  }
  out.add(Message::Mark{marked_, complete});
  ++group_;
  groupOpen_ = liveInGroup_ = splitDue_ = false;
}

}  // namespace Centrum
