#include "tests/support/SimLink.h"

namespace Sim {

using Centrum::Stream;

Stream::Received Link::read(int side, char* buffer, std::size_t size) {
  if (stopped(side)) return {};
  Wire& wire = to(side);
  const std::size_t count = wire.arrived.copy(buffer, size);
  wire.arrived.erase(0, count);
  if (count != 0) {
    move(1 - side);
    wake(1 - side);
  }
  if (count == 0 && size != 0 && wire.gone && wire.sent.empty()) end(side).told = true;
  return {count, end(side).told};
}

/// Takes less than there is room for now and then.
std::size_t Link::write(int side, std::string_view bytes) {
  Wire& wire = from(side);
  if (wire.ended || !end(1 - side).open) return bytes.size();
  const std::size_t used = wire.sent.size() + wire.arrived.size();
  std::size_t count = std::min(bytes.size(), capacity_ - std::min(capacity_, used));
  if (world_->below(8) == 0) count = world_->below(static_cast<std::uint32_t>(count + 1));
  wire.sent.append(bytes.substr(0, count));
  if (count < bytes.size()) {
    end(side).full = true;
    wake(side);
  }
  move(side);
  return count;
}

/// What is on its way still arrives; what the other side sends vanishes.
void Link::close(int side) {
  end(side) = End();
  end(side).open = false;
  from(side).ended = true;
  to(side).sent.clear();
  to(side).arrived.clear();
  move(side);
  wake(1 - side);
}

void Link::cut() {
  cut_ = true;
  for (int side = 0; side < 2; ++side) {
    Wire& wire = from(side);
    wire.sent.resize(world_->below(static_cast<std::uint32_t>(wire.sent.size() + 1)));
    wire.ended = true;
  }
  go();
}

void Link::go() {
  for (int side = 0; side < 2; ++side) {
    move(side);
    wake(side);
  }
}

bool Link::readable(int side) {
  const Wire& wire = to(side);
  const bool over = wire.gone && wire.sent.empty() && !end(side).told;
  return end(side).onReadable && (over || !wire.arrived.empty());
}

/// A writer is asked again when half of the room is free, or when nobody wants its bytes any more.
bool Link::writable(int side) {
  const Wire& wire = from(side);
  const bool room = 2 * (wire.sent.size() + wire.arrived.size()) <= capacity_;
  return end(side).full && end(side).onWritable && (room || wire.ended || !end(1 - side).open);
}

void Link::wake(int side) {
  if (end(side).waking || stopped(side) || !(readable(side) || writable(side))) return;
  end(side).waking = true;
  world_->loop.post([weak = weak_from_this(), side] {
    if (const auto link = weak.lock()) link->call(side);
  });
}

/// Calls one handler only, a copy: it may destroy the stream.
void Link::call(int side) {
  end(side).waking = false;
  if (stopped(side)) return;
  const bool write = writable(side);
  const Stream::Handler handler = write            ? end(side).onWritable
                                  : readable(side) ? end(side).onReadable
                                                   : Stream::Handler();
  if (write) end(side).full = false;
  if (handler) handler();
  wake(side);
}

/// Sends the next piece of `side` on its way, unless one is.
void Link::move(int side) {
  Wire& wire = from(side);
  const bool nothing = wire.sent.empty() && (!wire.ended || wire.gone);
  if (wire.moving || frozen() || nothing) return;
  const double rate = host_.rate;
  std::size_t most = std::min<std::size_t>(wire.sent.size(), 16U << 10);
  if (rate > 0) most = std::min(most, static_cast<std::size_t>(rate / 8) + 1);
  const std::size_t size = most == 0 ? 0 : 1 + world_->below(static_cast<std::uint32_t>(most));
  const double takes = world_->delay() + (rate > 0 ? static_cast<double>(size) / rate : 0.0);
  wire.moving = true;
  world_->loop.timers().timerIs(world_->loop.now() + takes, [weak = weak_from_this(), side, size] {
    if (const auto link = weak.lock()) link->arrive(side, size);
  });
}

void Link::arrive(int side, std::size_t size) {
  Wire& wire = from(side);
  wire.moving = false;
  if (frozen()) return;
  size = std::min(size, wire.sent.size());  // less after a cut
  wire.arrived.append(wire.sent, 0, size);
  wire.sent.erase(0, size);
  wire.gone = wire.ended;
  if (side == 1) host_.received += size;
  move(side);
  wake(1 - side);
}

}  // namespace Sim
