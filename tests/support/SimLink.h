/// The connections of a simulated network (SimNetwork.h).
///
/// Each direction sends one piece after the other: its size and delay are random, and a timer moves
/// it to where it can be read.
#pragma once

#include <algorithm>
#include <array>
#include <map>
#include <memory>
#include <random>
#include <string>
#include <utility>
#include <vector>

#include "platform/centrum/Stream.h"
#include "platform/kiln/EventLoop.h"

namespace Sim {

class Link;

/// All connections of one client, and what holds for them.
struct Host {
  Centrum::Peer peer;
  bool mayWrite = true;
  bool frozen = false;
  double rate = 0;
  std::uint64_t received = 0;
  std::vector<std::weak_ptr<Link>> links;
};

class SimListener;

/// What all connections share.
struct World {
  World(Kiln::EventLoop& theLoop, std::uint32_t seed) : loop(theLoop), source(seed) {}

  std::uint32_t below(std::uint32_t bound) {
    return bound == 0 ? 0 : static_cast<std::uint32_t>(source() % bound);
  }
  double delay() {
    return leastDelay +
           (mostDelay - leastDelay) * static_cast<double>(below(1U << 16)) / (1U << 16);
  }
  Host& host(const std::string& name) {
    const auto [at, isNew] = hosts.try_emplace(name);
    if (isNew) at->second.peer = {static_cast<pid_t>(1000 + hosts.size()), 1000, 1000, {}};
    return at->second;
  }

  Kiln::EventLoop& loop;
  std::mt19937 source;
  double leastDelay = 0;
  double mostDelay = 0.002;
  std::size_t capacity = 64U << 10;
  bool listening = true;
  std::map<std::string, Host> hosts;  // by name: walks must not depend on addresses
  SimListener* listener = nullptr;
};

/// One direction of a connection.
struct Wire {
  std::string sent;     // and still on its way
  std::string arrived;  // and not read
  bool ended = false;   // nothing more will be sent
  bool gone = false;    // the reader's side knows of the end
  bool moving = false;  // a timer will move the next piece
};

/// One end.
struct End {
  bool open = true;
  bool full = false;    // a write was short since onWritable was called
  bool told = false;    // of the end, by read()
  bool waking = false;  // the handlers will be looked at in the next turn
  Centrum::Stream::Handler onReadable;
  Centrum::Stream::Handler onWritable;
};

/// A connection. Side 0 is the client's, side 1 the server's; wire i leads from side i.
class Link : public std::enable_shared_from_this<Link> {
 public:
  Link(std::shared_ptr<World> world, Host& host)
      : world_(std::move(world)),
        host_(host),
        capacity_(std::max<std::size_t>(world_->capacity, 1)) {}

  Centrum::Stream::Received read(int side, char* to, std::size_t size);
  std::size_t write(int side, std::string_view bytes);
  void close(int side);
  void cut();
  /// Goes on after a change of what holds for it.
  void go();

  Host& host() { return host_; }
  End& end(int side) { return ends_.at(static_cast<std::size_t>(side)); }
  Wire& from(int side) { return wires_.at(static_cast<std::size_t>(side)); }
  Wire& to(int side) { return from(1 - side); }
  bool held() { return end(0).open && end(1).open; }
  void wake(int side);

 private:
  bool frozen() const { return host_.frozen && !cut_; }
  bool stopped(int side) const { return side == 0 && frozen(); }
  bool readable(int side);
  bool writable(int side);
  void call(int side);
  void move(int side);
  void arrive(int side, std::size_t size);

  const std::shared_ptr<World> world_;
  Host& host_;
  const std::size_t capacity_;
  std::array<Wire, 2> wires_;
  std::array<End, 2> ends_;
  bool cut_ = false;
};

}  // namespace Sim
