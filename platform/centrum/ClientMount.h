/// One mounted path of a client: what is asked of the server, what arrived, what is to be sent.
///
/// Thread    that of the event loop.
#pragma once

#include <cstdint>
#include <deque>
#include <string>
#include <string_view>
#include <vector>

#include "platform/centrum/ClientTree.h"
#include "platform/centrum/ConnectedEntityManager.h"
#include "platform/centrum/Protocol.h"
#include "platform/forma/ByteSet.h"
#include "platform/forma/Content.h"

namespace Centrum {

/// What arrives for a path, and is applied to its copy.
class ClientContent {
 public:
  ClientContent(ClientTree& tree, Forma::ContentApplier& applier)
      : tree_(tree), applier_(applier) {}

  /// The entity or directory that is filled; null while that is not known.
  const Forma::Ptr<Forma::Entity>& entity() const { return entity_; }
  void entityIs(Forma::Ptr<Forma::Entity> entity);

  /// True once a whole snapshot was applied, and its mark came.
  bool filled() const { return filled_; }
  void filledIsNot() { filled_ = false; }
  void filledIs() { filled_ = true; }
  /// A piece arrived. The first filling is applied at once, as nobody looks at it; later pieces
  /// wait for the mark. Raises ParseException when it is damaged.
  void received(const Message::Delta& delta);
  /// Applies what waits. Returns how many keys changed.
  std::size_t mark();
  /// The connection went: forgets what waits.
  void reset();
  std::uint64_t snapshots() const { return snapshots_; }

 private:
  struct Piece {
    bool begin;
    bool end;
    std::string records;
  };
  void apply(const Piece& piece);
  void applyToDirectory(Forma::Dir& dir, const Piece& piece);

  ClientTree& tree_;
  Forma::ContentApplier& applier_;
  Forma::Ptr<Forma::Entity> entity_;
  std::vector<Piece> waiting_;
  Piece next_{};            // being received
  bool receiving_ = false;  // next_ is not whole
  bool filled_ = false;
  bool inSnapshot_ = false;
  bool ended_ = false;     // a snapshot was whole; its mark is due
  Forma::ByteSet stated_;  // names of entries that the snapshot stated
  std::size_t changed_ = 0;
  std::uint64_t snapshots_ = 0;
};

/// What an owned path has to send: each changed key once, until the server has it.
class ClientChanges {
 public:
  /// Notes a change at a path (Forma::encodePath); `nested`: in a child. Ignored when all is to be
  /// sent anyway.
  void changed(std::string_view path, bool nested);
  /// Everything is to be sent, and is all that there is.
  void allChanged();
  bool empty() const { return !all_ && dirty_.empty(); }
  /// True when the server is known to have everything.
  bool settled() const { return empty() && sent_.empty(); }

  /// Whether the next batch should wait for acknowledgements.
  bool full() const { return sentBytes_ > sentLimit; }
  /// Takes what is to be sent as the next batch.
  Message::Batch takeBatch(const Forma::Entity& entity, std::string& records);
  void acknowledged(std::uint64_t number);
  /// The connection was made again: what was sent after batch `last` is to be sent again.
  void resendAfter(std::uint64_t last);

 private:
  static constexpr std::size_t sentLimit = 4U << 20;
  struct Sent {
    std::uint64_t number;
    bool all;
    std::size_t bytes;
    Forma::ByteSet paths;
  };
  bool covered(std::string_view path) const;

  Forma::ByteSet dirty_;
  bool all_ = false;
  std::deque<Sent> sent_;
  std::size_t sentBytes_ = 0;
  std::uint64_t number_ = 0;  // of the newest batch
};

struct ClientMount {
  ClientMount(ClientTree& tree, Forma::ContentApplier& applier) : content(tree, applier) {}

  bool writable() const { return info.mode != "r" && !directory; }
  /// Ready to be handed out.
  bool ready() const { return content.filled(); }
  bool failed() const { return status != mountPending_ && status != mountSuccess_; }

  MountInfo info;  // ages are since `since` and `ownerSince`
  double since = 0;
  double ownerSince = 0;
  const Forma::EntityType* type = nullptr;
  bool directory = false;
  MountStatus status = mountPending_;
  std::size_t groups = 0;     // that want it
  std::uint32_t request = 0;  // by which the client calls it
  std::uint32_t number = 0;   // by which the server calls the path; valid while granted
  bool granted = false;       // in this connection
  bool current = false;       // has all there is, as of the newest complete mark of this connection
  bool touched = false;       // something arrived for it since the last mark
  bool sendDue = false;       // stands in the list of those with something to send
  Epoch epoch = 0;            // the content is of this moment
  Sequence sequence = 0;
  bool waitingTold = false;  // in this connection
  std::uint64_t writer = 0;  // the instance that wrote last, as far as is known
  bool handedOut = false;    // a group that wants it is complete
  bool lost = false;         // another one has written what was ours
  bool committed = false;    // false: nothing is published yet
  ClientContent content;
  ClientChanges changes;
};

}  // namespace Centrum
