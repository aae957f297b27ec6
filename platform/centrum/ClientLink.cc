#include "platform/centrum/ClientLink.h"

#include <algorithm>

#include "platform/forma/Errors.h"

namespace Centrum {

namespace {

constexpr double firstPause = 0.05;  // seconds before the second attempt; doubled for each further
constexpr double longestPause = 1.0;
constexpr std::size_t readSize = 256U << 10;  // at a time
constexpr int readsInTurn = 8;
constexpr std::size_t outKept = 1U << 20;  // memory of what was sent

}  // namespace

LinkOwner::~LinkOwner() = default;

ClientLink::ClientLink(Kiln::EventLoop& loop, std::unique_ptr<Connector> connector,
                       std::string name, LinkOwner& owner)
    : loop_(loop),
      connector_(std::move(connector)),
      name_(std::move(name)),
      owner_(owner),
      retryTimer_(loop.timers(), [this] { connect(); }),
      beatTimer_(loop.timers(), [this] { beat(); }) {}

ClientLink::~ClientLink() { stop(); }

void ClientLink::start() { retryTimer_.scheduleAfter(0); }

void ClientLink::stop() {
  if (std::exchange(stopped_, true)) return;
  retryTimer_.cancel();
  beatTimer_.cancel();
  flush();
  stream_ = nullptr;
  up_ = false;
}

void ClientLink::connect() {
  if (stopped_ || stream_) return;
  const auto keeper = owner_.linkKeeper();
  stream_ = connector_->connect();
  if (!stream_) {
    if (!std::exchange(waiting_, true)) owner_.linkWaits(connector_->problem());
    return retry();
  }
  reader_ = FrameReader();
  connectedAt_ = heardAt_ = beatAt_ = loop_.now();
  stream_->onReadableIs([this] { receive(); });
  stream_->onWritableIs([this] { flush(); });
  appendFrame(out_, Message::Hello{protocolVersion, Forma::String8(name_)});
  flush();
  beatTimer_.scheduleAfter(beatSeconds);
}

void ClientLink::retry() {
  pause_ = std::clamp(2 * pause_, firstPause, longestPause);
  if (!stopped_) retryTimer_.scheduleAfter(pause_);
}

void ClientLink::receive() {
  const auto keeper = owner_.linkKeeper();
  for (int i = 0; i < readsInTurn && stream_; ++i) {
    const Stream::Received got = stream_->read(reader_.room(readSize), readSize);
    reader_.added(got.count);
    bytesReceived_ += got.count;
    if (got.count != 0) heardAt_ = loop_.now();
    if (got.count != 0 && std::exchange(stalled_, false)) owner_.linkStalled(false);
    if (!takeMessages()) return;
    if (got.closed) return lose("the server closed the connection");
    if (got.count < readSize) return;
  }
}

/// False when the connection was given up.
bool ClientLink::takeMessages() {
  Message::Any message;
  try {
    while (stream_ && reader_.next(message)) take(message);
  } catch (const Forma::Exception& problem) {
    const std::string reason =
        std::string("what the server sent makes no sense: ") + problem.what();
    if (stream_) send(Message::Bye{Forma::String8(reason)});
    flush();
    lose(reason);
  }
  return stream_ != nullptr;
}

void ClientLink::take(const Message::Any& message) {
  if (const auto* bye = std::get_if<Message::Bye>(&message))
    return lose(std::string(bye->reason.view()));
  if (const auto* welcome = std::get_if<Message::Welcome>(&message)) {
    if (up_) Forma::throwParseException("Welcome came twice");
    up_ = true;
    waiting_ = false;
    ++connects_;
    return owner_.linkIsUp(*welcome);
  }
  if (!up_) Forma::throwParseException("Welcome did not come first");
  if (!std::holds_alternative<Message::Beat>(message)) owner_.linkReceived(message);
}

void ClientLink::send(const Message::Any& message) {
  if (up_) appendFrame(out_, message);
}

void ClientLink::flush() {
  if (!stream_ || unsent() == 0) return;
  const std::size_t taken = stream_->write(std::string_view(out_).substr(outAt_));
  outAt_ += taken;
  bytesSent_ += taken;
  if (unsent() != 0) return;
  outAt_ = 0;
  if (out_.capacity() > outKept) std::string().swap(out_);
  else out_.clear();
}

void ClientLink::lose(const std::string& reason) {
  if (!stream_) return;
  if (loop_.now() - connectedAt_ > longestPause) pause_ = 0;
  stream_ = nullptr;
  beatTimer_.cancel();
  out_.clear();
  outAt_ = 0;
  const bool wasUp = std::exchange(up_, false);
  stalled_ = false;
  retry();
  if (wasUp) owner_.linkIsDown(reason);
  else if (!std::exchange(waiting_, true)) owner_.linkWaits(reason);
}

void ClientLink::beat() {
  const auto keeper = owner_.linkKeeper();
  beatTimer_.scheduleAfter(beatSeconds);
  send(Message::Beat{owner_.linkSequence()});
  flush();
  const double now = loop_.now();
  // After a stop of our own (SIGSTOP) what arrived meanwhile is still to be read.
  if (now - std::exchange(beatAt_, now) > 2 * beatSeconds) heardAt_ = now;
  const bool silent = now - heardAt_ >= missedBeats * beatSeconds;
  if (silent && !std::exchange(stalled_, true)) owner_.linkStalled(true);
}

}  // namespace Centrum
