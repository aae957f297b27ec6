#include "tests/support/SimNetwork.h"

#include <cerrno>
#include <deque>
#include <system_error>
#include <utility>

#include "tests/support/SimLink.h"

namespace Sim {

using Centrum::Peer;
using Centrum::Stream;

class SimStream final : public Stream {
 public:
  SimStream(std::shared_ptr<Link> link, int side, Peer peer)
      : link_(std::move(link)), side_(side), peer_(std::move(peer)) {}
  ~SimStream() override { link_->close(side_); }

  Received read(char* to, std::size_t size) override { return link_->read(side_, to, size); }
  std::size_t write(std::string_view bytes) override { return link_->write(side_, bytes); }
  void onReadableIs(Handler handler) override {
    link_->end(side_).onReadable = std::move(handler);
    link_->wake(side_);
  }
  void onWritableIs(Handler handler) override {
    link_->end(side_).onWritable = std::move(handler);
    link_->wake(side_);
  }
  bool peerGone() const override { return link_->to(side_).gone; }
  const Peer& peer() const override { return peer_; }

 private:
  const std::shared_ptr<Link> link_;
  const int side_;
  const Peer peer_;
};

class SimListener final : public Centrum::Listener {
 public:
  explicit SimListener(std::shared_ptr<World> world) : world_(std::move(world)) {
    if (world_->listener)
      throw std::system_error(EADDRINUSE, std::generic_category(), "simulated network");
    world_->listener = this;
  }
  ~SimListener() override { world_->listener = nullptr; }

  void onAcceptIs(Accept accept) override { *accept_ = std::move(accept); }
  bool mayWrite(const Peer& peer) const override;
  std::string neededRight() const override { return "group sim (gid 1000) of the network"; }
  void add(std::unique_ptr<Stream> stream);

 private:
  using Queue = std::deque<std::unique_ptr<Stream>>;

  const std::shared_ptr<World> world_;
  const std::shared_ptr<Accept> accept_ = std::make_shared<Accept>();
  const std::shared_ptr<Queue> queue_ = std::make_shared<Queue>();
};

bool SimListener::mayWrite(const Peer& peer) const {
  for (const auto& [name, host] : world_->hosts)
    if (host.peer.pid == peer.pid) return host.mayWrite;
  return false;
}

/// A connection that nobody accepts is closed when its time has come.
void SimListener::add(std::unique_ptr<Stream> stream) {
  queue_->push_back(std::move(stream));
  const std::weak_ptr<Queue> weak = queue_;
  world_->loop.timers().timerIs(world_->loop.now() + world_->delay(), [weak, accept = accept_] {
    const auto queue = weak.lock();
    if (!queue) return;
    auto next = std::move(queue->front());
    queue->pop_front();
    const Accept handler = *accept;
    if (handler) handler(std::move(next));
  });
}

class SimConnector final : public Centrum::Connector {
 public:
  SimConnector(std::shared_ptr<World> world, std::string name)
      : world_(std::move(world)), name_(std::move(name)) {}

  std::unique_ptr<Stream> connect() override;
  const std::string& problem() const override { return problem_; }
  std::string address() const override { return "simulated network"; }

 private:
  const std::shared_ptr<World> world_;
  const std::string name_;
  std::string problem_;
};

std::unique_ptr<Stream> SimConnector::connect() {
  if (!world_->listener || !world_->listening) {
    problem_ = "connect to " + address() + ": nobody listens";
    return nullptr;
  }
  Host& host = world_->host(name_);
  std::erase_if(host.links, [](const auto& link) { return link.expired(); });
  const auto link = std::make_shared<Link>(world_, host);
  host.links.push_back(link);
  world_->listener->add(std::make_unique<SimStream>(link, 1, host.peer));
  return std::make_unique<SimStream>(link, 0, Peer{1, 0, 0, {}});
}

}  // namespace Sim

using Sim::Host;
using Sim::Link;

class SimNetwork::Impl : public Sim::World {
 public:
  using Sim::World::World;

  /// Calls `visit` with each connection of a host. It may end connections.
  template <class Visit>
  static void eachLink(Host& host, Visit visit) {
    const auto links = host.links;
    for (const auto& weak : links)
      if (const auto link = weak.lock()) visit(*link);
  }
};

SimNetwork::SimNetwork(Kiln::EventLoop& loop, std::uint32_t seed)
    : impl_(std::make_shared<Impl>(loop, seed)) {}

SimNetwork::~SimNetwork() = default;

std::unique_ptr<Centrum::Connector> SimNetwork::connector(const std::string& name) {
  impl_->host(name);
  return std::make_unique<Sim::SimConnector>(impl_, name);
}

std::unique_ptr<Centrum::Listener> SimNetwork::listener() {
  return std::make_unique<Sim::SimListener>(impl_);
}

void SimNetwork::peer(const std::string& name, const Centrum::Peer& peer) {
  impl_->host(name).peer = peer;
}
void SimNetwork::mayWrite(const std::string& name, bool may) { impl_->host(name).mayWrite = may; }

void SimNetwork::delay(double least, double most) {
  impl_->leastDelay = least;
  impl_->mostDelay = most;
}

void SimNetwork::capacity(std::size_t bytes) { impl_->capacity = bytes; }

void SimNetwork::rate(const std::string& name, double bytesPerSecond) {
  impl_->host(name).rate = bytesPerSecond;
}

void SimNetwork::listening(bool can) { impl_->listening = can; }

void SimNetwork::cut(const std::string& name) {
  Impl::eachLink(impl_->host(name), [](Link& link) { link.cut(); });
}

void SimNetwork::cutAll() {
  for (auto& [name, host] : impl_->hosts) Impl::eachLink(host, [](Link& link) { link.cut(); });
}

void SimNetwork::freeze(const std::string& name, bool frozen) {
  Host& host = impl_->host(name);
  host.frozen = frozen;
  Impl::eachLink(host, [](Link& link) { link.go(); });
}

std::uint32_t SimNetwork::random(std::uint32_t bound) { return impl_->below(bound); }

std::size_t SimNetwork::connections() const {
  std::size_t count = 0;
  for (auto& [name, host] : impl_->hosts)
    Impl::eachLink(host, [&count](Link& link) { count += link.held() ? 1U : 0U; });
  return count;
}

std::uint64_t SimNetwork::bytesTo(const std::string& name) const {
  return impl_->host(name).received;
}
