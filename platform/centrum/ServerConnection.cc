#include "platform/centrum/ServerConnection.h"

#include <algorithm>
#include <new>
#include <utility>
#include <variant>

#include "platform/forma/Errors.h"
#include "platform/forma/Trace.h"

namespace Centrum {

namespace {

Forma::TraceHandle trace("ServerConnection");

constexpr std::size_t readAtOnce = 64U << 10;
constexpr std::size_t readPerTurn = 256U << 10;
constexpr std::size_t writePerTurn = 1U << 20;
constexpr std::size_t enoughForOneWrite = 64U << 10;
/// No more is read from a client for which this much waits.
constexpr std::size_t unsentLimit = 256U << 10;
constexpr std::size_t nameLimit = 64;

/// Names are printed on terminals.
Forma::String8 printable(std::string_view name) {
  std::string text(name.substr(0, nameLimit));
  std::replace_if(
      text.begin(), text.end(), [](char c) { return c < ' ' || c > '~'; }, '?');
  return Forma::String8(text.empty() ? "unnamed" : text);
}

}  // namespace

ServerConnection::ServerConnection(ServerShared& shared, MountTable& table, ConnectionHost& host,
                                   std::unique_ptr<Stream> stream, std::uint32_t number)
    : shared_(shared),
      table_(table),
      host_(host),
      stream_(std::move(stream)),
      number_(number),
      connectedAt_(shared.loop.now()),
      heardAt_(connectedAt_),
      feed_(shared, [this] { host_.wake(*this); }) {
  stream_->onWritableIs([this] {
    blocked_ = false;
    host_.wake(*this);  // what arrived in this turn is to be logged before it is sent
  });
  readAllowed(true);
}

std::string ServerConnection::holder() const {
  return std::string(name_.view()) + " (pid " + std::to_string(peer().pid) + ", uid " +
         std::to_string(peer().uid) + ")";
}

bool ServerConnection::stalled() const {
  return shared_.loop.now() - heardAt_ > beatSeconds * missedBeats;
}

Sequence ServerConnection::lag() const {
  Sequence has = shared_.database->sequence();
  for (const auto& [path, mount] : mounts_)
    if (mount.subscription && !mount.subscription->cursor.atEnd())
      has = std::min(has, mount.subscription->cursor.sequence());
  return shared_.database->sequence() - has;
}

// ---- Receiving ---------------------------------------------------------------------------------

void ServerConnection::readAllowed(bool allowed) {
  if (reading_ == allowed) return;
  reading_ = allowed;
  if (allowed) stream_->onReadableIs([this] { readable(); });
  else stream_->onReadableIs({});
}

void ServerConnection::readable() {
  guarded([this] { readSome(readPerTurn); });
  if (!ended_ && out_.size() > unsentLimit) readAllowed(false);
}

template <class Work>
void ServerConnection::guarded(Work work) {
  if (ended_) return;
  try {
    work();
  } catch (const std::bad_alloc&) {
    end("no memory for it");
  } catch (const std::exception& problem) {
    fail(problem.what());
  }
}

void ServerConnection::readSome(std::size_t limit) {
  for (std::size_t taken = 0; taken < limit && !ended_;) {
    const Stream::Received received = stream_->read(reader_.room(readAtOnce), readAtOnce);
    reader_.added(received.count);
    bytesIn_ += received.count;
    taken += received.count;
    if (received.count != 0) heardAt_ = shared_.loop.now();
    takeFrames();
    if (received.closed && !ended_) end("");
    if (received.count < readAtOnce) return;
  }
}

void ServerConnection::takeFrames() {
  Message::Any message;
  while (!ended_ && reader_.next(message)) {
    if (!greeted_ && !std::holds_alternative<Message::Hello>(message))
      Forma::throwParseException("the first message is no Hello");
    std::visit([this](const auto& one) { take(one); }, message);
  }
}

/// Whatever it still asked for is of no use to it.
void ServerConnection::endIfGone() {
  if (ended_ || !stream_->peerGone()) return;
  draining_ = true;
  guarded([this] {
    for (std::uint64_t before = bytesIn_ + 1; !ended_ && before != bytesIn_;) {
      before = bytesIn_;
      readSome(readPerTurn);
    }
  });
  if (!ended_) end("");
}

void ServerConnection::take(const Message::Hello& hello) {
  if (greeted_) Forma::throwParseException("a second Hello");
  name_ = printable(hello.name);
  if (hello.version != protocolVersion)
    Forma::throwParseException("the server speaks version " + std::to_string(protocolVersion) +
                               " of the protocol, the client version " +
                               std::to_string(hello.version));
  greeted_ = true;
  ++shared_.activity;
  send(Message::Welcome{protocolVersion, shared_.database->epoch(), shared_.database->sequence()});
}

void ServerConnection::take(const Message::Mount& mount) {
  if (!draining_) table_.mount(*this, mount);
}

/// The client may not know yet that an owner took the path away.
void ServerConnection::take(const Message::Unmount& unmount) {
  if (removed_.erase(unmount.path) != 0) return;
  const auto found = mounts_.find(unmount.path);
  if (found == mounts_.end())
    Forma::throwParseException("Unmount of path " + std::to_string(unmount.path) +
                               ", which is not mounted");
  table_.release(found->second);
  mounts_.erase(found);
}

void ServerConnection::take(const Message::Batch& frame) {
  ServerMount& mount = owned(frame.path, "Batch");
  const auto batch = mount.owned->take(frame, shared_.options.batchLimit);
  if (!batch) return;
  table_.apply(mount, *batch);
  host_.ackDue(*this, mount.owned->ackUrgent());
}

void ServerConnection::take(const Message::Remove& remove) {
  table_.remove(owned(remove.path, "Remove").place);
}

void ServerConnection::take(const Message::Bye& /*bye*/) { end(""); }

template <class Other>
void ServerConnection::take(const Other& /*message*/) {
  Forma::throwParseException("a message that only servers send");
}

ServerMount& ServerConnection::owned(std::uint32_t path, const char* what) {
  const auto found = mounts_.find(path);
  if (found == mounts_.end() || !found->second.owned)
    Forma::throwParseException(std::string(what) + " for path " + std::to_string(path) +
                               ", which the client does not own");
  return found->second;
}

// ---- Mounts ------------------------------------------------------------------------------------

ServerMount& ServerConnection::mountOf(Place& place) {
  return mounts_.try_emplace(place.path.id(), ServerMount{*this, place, nullptr, std::nullopt})
      .first->second;
}

void ServerConnection::removed(std::uint32_t path, bool tell) {
  mounts_.erase(path);
  if (!tell) return;
  removed_.insert(path);
  send(Message::Removed{path});
}

// ---- Sending -----------------------------------------------------------------------------------

void ServerConnection::send(const Message::Any& message) {
  out_.add(message);
  host_.wake(*this);
}

void ServerConnection::flush() {
  guarded([this] {
    const std::uint64_t before = out_.written();
    while (!blocked_) {
      if (out_.size() < enoughForOneWrite && !out_.hasPiece()) feed_.fill(out_);
      if (out_.empty()) break;
      blocked_ = !out_.writeTo(*stream_);
      if (!blocked_ && out_.written() - before > writePerTurn) {
        host_.wakeLater(*this);
        break;
      }
    }
    if (out_.size() <= unsentLimit) readAllowed(true);
  });
}

void ServerConnection::addAcks() {
  for (auto& [path, mount] : mounts_)
    if (mount.owned && mount.owned->ackDue()) send(Message::Ack{path, mount.owned->ack()});
}

void ServerConnection::beat() {
  if (greeted_ && out_.empty()) send(Message::Beat{shared_.database->sequence()});
}

// ---- Ending ------------------------------------------------------------------------------------

void ServerConnection::bye(const std::string& reason) {
  if (ended_) return;
  sayBye(reason);
  end("");
}

void ServerConnection::fail(const std::string& fault) {
  if (ended_) return;
  sayBye(fault);
  end(fault);
}

/// Nobody will hear of what the stream does not take now.
void ServerConnection::sayBye(const std::string& reason) {
  out_.add(Message::Bye{Forma::String8(reason)});
  for (std::size_t left = 0; out_.size() != left;) {
    left = out_.size();
    out_.writeTo(*stream_);
  }
}

void ServerConnection::end(const std::string& fault) {
  FORMA_TRACE(trace, 1, "end of ", holder(), " ", fault);
  ended_ = true;
  stream_->onReadableIs({});
  stream_->onWritableIs({});
  table_.forgetWaiting(*this);
  for (auto& [path, mount] : mounts_) table_.release(mount);
  mounts_.clear();
  host_.ended(*this, fault);
}

}  // namespace Centrum
