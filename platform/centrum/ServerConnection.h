/// One client of the server: takes its messages, and sends what its mounts call for.
///
/// Thread    that of the event loop.
/// Errors    a malformed or misplaced message, or lack of memory, ends this connection, with a Bye
///           that says why; nothing of it is half-applied, and nobody else is concerned.
/// Memory    one piece of content, and small messages up to a bound at which the server stops
///           reading from a client that does not read.
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <unordered_map>
#include <unordered_set>

#include "platform/centrum/MountTable.h"

namespace Centrum {

/// What a connection asks of its server.
class ConnectionHost {
 public:
  /// There is something to be sent at the end of this turn.
  virtual void wake(ServerConnection& connection) = 0;
  /// There is more to be sent than one turn should take.
  virtual void wakeLater(ServerConnection& connection) = 0;
  /// There are batches to acknowledge: now, or when more have come together.
  virtual void ackDue(ServerConnection& connection, bool urgent) = 0;
  /// The connection has ended; it is to be destroyed when no handler runs. `fault`: why, when the
  /// client did something wrong.
  virtual void ended(ServerConnection& connection, const std::string& fault) = 0;

 protected:
  ~ConnectionHost() = default;
};

class ServerConnection {
 public:
  ServerConnection(ServerShared& shared, MountTable& table, ConnectionHost& host,
                   std::unique_ptr<Stream> stream, std::uint32_t number);
  ServerConnection(const ServerConnection&) = delete;
  ServerConnection& operator=(const ServerConnection&) = delete;

  // ---- For the server --------------------------------------------------------------------------

  /// Sends as much as the stream takes, within what one turn may send.
  void flush();
  /// Adds the acknowledgements that are due.
  void addAcks();
  /// Adds a sign of life, unless what was sent before still waits.
  void beat();
  /// Tells the client why, and ends the connection.
  void bye(const std::string& reason);
  bool ended() const { return ended_; }
  /// What the server has noted to do for it; the server's.
  bool awake = false;
  bool unacked = false;

  // ---- For the mount table ---------------------------------------------------------------------

  void send(const Message::Any& message);
  Feed& feed() { return feed_; }
  /// Gets or makes the mount of a path.
  ServerMount& mountOf(Place& place);
  /// A path that was mounted is gone. `tell`: the client does not know.
  void removed(std::uint32_t path, bool tell);
  /// When the client has closed its end: applies what it sent before, and ends the connection.
  void endIfGone();
  std::size_t waiting = 0;  ///< mounts that wait; the table's

  // ---- For the status --------------------------------------------------------------------------

  std::uint32_t number() const { return number_; }
  const Forma::String8& name() const { return name_; }
  const Peer& peer() const { return stream_->peer(); }
  bool mayWrite() const { return shared_.listener->mayWrite(peer()); }
  /// "name (pid 12, uid 0)".
  std::string holder() const;
  const std::unordered_map<std::uint32_t, ServerMount>& mounts() const { return mounts_; }
  std::uint64_t bytesIn() const { return bytesIn_; }
  std::uint64_t bytesOut() const { return out_.written(); }
  /// Nothing was heard of it for a while.
  bool stalled() const;
  /// Changes of the database that it has not got of what it reads; 0 when it has all.
  Sequence lag() const;
  double connectedFor() const { return shared_.loop.now() - connectedAt_; }

 private:
  template <class Work>
  void guarded(Work work);
  void readable();
  void readSome(std::size_t limit);
  void takeFrames();
  void readAllowed(bool allowed);
  void fail(const std::string& fault);
  void sayBye(const std::string& reason);
  void end(const std::string& fault);

  void take(const Message::Hello& hello);
  void take(const Message::Mount& mount);
  void take(const Message::Unmount& unmount);
  void take(const Message::Batch& batch);
  void take(const Message::Remove& remove);
  void take(const Message::Beat& /*beat*/) {}
  void take(const Message::Bye& /*bye*/);
  template <class Other>
  void take(const Other& message);
  void release(std::uint32_t path);
  ServerMount& owned(std::uint32_t path, const char* what);

  ServerShared& shared_;
  MountTable& table_;
  ConnectionHost& host_;
  const std::unique_ptr<Stream> stream_;
  const std::uint32_t number_;
  const double connectedAt_;
  double heardAt_;
  Forma::String8 name_ = "unnamed";
  bool greeted_ = false;   // Hello came
  bool blocked_ = false;   // the stream takes no bytes
  bool reading_ = false;   // the stream is asked for bytes
  bool draining_ = false;  // the client is gone
  bool ended_ = false;
  std::uint64_t bytesIn_ = 0;
  FrameReader reader_;
  OutBuffer out_;
  Feed feed_;
  std::unordered_map<std::uint32_t, ServerMount> mounts_;  // by number of the path
  std::unordered_set<std::uint32_t> removed_;  // were mounted, and taken away by their owners
};

}  // namespace Centrum
