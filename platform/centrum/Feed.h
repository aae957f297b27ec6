/// What one connection is still to be told of the paths that it reads.
///
/// Each path that has something for the connection stands in one of two queues: those whose
/// content is on its way as a snapshot, and the others. They take turns, a piece each, so that
/// neither a long snapshot nor a busy path holds the rest up.
///
/// Deltas are sent in groups which end with a Mark. A group holds no key twice: when a path of
/// which the group holds something changes, the group is ended before more is sent. When all but
/// snapshots has been sent the group ends too, so that live changes do not wait for a snapshot.
///
/// Thread    that of the event loop.
/// Memory    a Cursor for each path; nothing for what is to be sent.
#pragma once

#include <cstdint>
#include <deque>
#include <functional>
#include <vector>

#include "platform/centrum/Database.h"
#include "platform/centrum/OutBuffer.h"

namespace Centrum {

class Feed;
struct ServerMount;
struct ServerShared;

/// One path as one connection reads it. Destroying it ends it.
struct Subscription {
  enum class State : std::uint8_t {
    idle,      ///< has all there is
    live,      ///< in the queue of changes
    snapshot,  ///< in the queue of snapshots
    atGate     ///< waits until it may begin its snapshot
  };

  Subscription(Feed& reader, ServerMount& of);
  ~Subscription();
  Subscription(const Subscription&) = delete;
  Subscription& operator=(const Subscription&) = delete;

  Feed& feed;
  ServerMount& mount;
  Cursor cursor;
  State state = State::idle;
  bool begun = false;         ///< the first Delta of a snapshot is sent
  bool once = false;          ///< ends when it has all there is: the reader owns the path
  bool ownerDue = false;      ///< the reader is to be told who owns the path
  bool countsAtGate = false;  ///< SnapshotGate's
  double progress = 0;        ///< SnapshotGate's: the time of the last piece of a snapshot
  std::uint64_t group = 0;    ///< the last group that holds something of it
};

class Feed {
 public:
  /// `wake` is called when there is something to be sent.
  Feed(ServerShared& shared, std::function<void()> wake);

  /// Begins to send: a snapshot, or what lies behind the cursor.
  void start(Subscription& subscription, bool snapshot);
  /// The path of the subscription changed.
  void changed(Subscription& subscription);
  /// The owner of the path changed.
  void ownerChanged(Subscription& subscription);
  /// The subscription may begin its snapshot.
  void admitted(Subscription& subscription);
  /// To be called before a subscription goes.
  void forget(Subscription& subscription);
  /// Ends the subscription as soon as it has all there is.
  void onceIs(Subscription& subscription);
  /// The next thing to be sent ends with a Mark, even when there is no Delta.
  void markDueIs();

  /// Adds what comes next, as much as makes one write; nothing when there is nothing.
  void fill(OutBuffer& out);

 private:
  using State = Subscription::State;

  void startSnapshot(Subscription& subscription);
  void enqueue(Subscription& subscription, State state);
  Subscription* next();
  void addOwners(OutBuffer& out);
  void addPiece(OutBuffer& out, Subscription& subscription);
  void pieceAdded(Subscription& subscription, State queue);
  static void end(Subscription& subscription);
  void endGroup(OutBuffer& out);
  void addMark(OutBuffer& out, bool complete);

  ServerShared& shared_;
  const std::function<void()> wake_;
  std::deque<Subscription*> live_;
  std::deque<Subscription*> snapshots_;
  std::size_t atGate_ = 0;
  std::vector<Subscription*> ownersDue_;
  Sequence marked_ = 0;       // of the newest complete Mark
  std::uint64_t group_ = 1;   // the one that is under way
  bool groupOpen_ = false;    // it holds something
  bool liveInGroup_ = false;  // it holds something that is of no snapshot
  bool splitDue_ = false;     // a path of which it holds something changed
  bool markDue_ = false;
  bool snapshotsTurn_ = false;
};

}  // namespace Centrum
