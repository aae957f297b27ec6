#include "platform/centrum/Server.h"

#include <algorithm>
#include <map>
#include <utility>
#include <vector>

#include "platform/centrum/MountTable.h"
#include "platform/centrum/ServerConnection.h"
#include "platform/centrum/ServerShared.h"
#include "platform/centrum/StatusPublisher.h"
#include "platform/forma/Trace.h"

namespace Centrum {

namespace {

Forma::TraceHandle trace("Server");

constexpr double ackSeconds = 0.05;

}  // namespace

class Server::Impl final : public ConnectionHost {
 public:
  Impl(Kiln::EventLoop& loop, std::unique_ptr<Listener> listener, std::unique_ptr<LogFile> log,
       ServerOptions options);
  ~Impl();
  Impl(const Impl&) = delete;
  Impl& operator=(const Impl&) = delete;

  const ServerShared& shared() const { return shared_; }
  std::size_t connections() const { return connections_.size(); }
  void close(const std::string& reason);

 private:
  using Connections = std::vector<ServerConnection*>;

  void wake(ServerConnection& connection) override;
  void wakeLater(ServerConnection& connection) override;
  void ackDue(ServerConnection& connection, bool urgent) override;
  void ended(ServerConnection& connection, const std::string& fault) override;

  void accept(std::unique_ptr<Stream> stream);
  void turnEnded();
  void flush();
  void acknowledge();
  void beat();
  void noteStalled();
  void eachConnection(const std::function<void(ServerConnection&)>& visit) const;

  ServerShared shared_;
  MountTable table_;
  StatusPublisher status_;
  std::map<std::uint32_t, std::unique_ptr<ServerConnection>> connections_;
  std::vector<std::unique_ptr<ServerConnection>> ended_;  // until no handler runs
  std::uint32_t lastNumber_ = 0;
  Connections awake_;    // have something to be sent
  Connections unacked_;  // have batches to acknowledge
  bool acksUrgent_ = false;
  std::size_t stalled_ = 0;  // clients
  Kiln::Timer beatTimer_;    // runs while there are connections
  Kiln::Timer ackTimer_;     // runs while there is something to acknowledge
  const std::uint64_t turnEnd_;
};

Server::Impl::Impl(Kiln::EventLoop& loop, std::unique_ptr<Listener> listener,
                   std::unique_ptr<LogFile> log, ServerOptions options)
    : shared_(loop, std::move(listener), std::move(log), std::move(options)),
      table_(shared_),
      status_(shared_, table_, [this](const auto& visit) { eachConnection(visit); }),
      beatTimer_(loop.timers(), [this] { beat(); }),
      ackTimer_(loop.timers(), [this] { acksUrgent_ = true; }),
      turnEnd_(loop.turnEndIs([this] { turnEnded(); })) {
  shared_.commitLog();
  shared_.listener->onAcceptIs(
      [this](std::unique_ptr<Stream> stream) { accept(std::move(stream)); });
}

/// Connections that go may wake others.
Server::Impl::~Impl() {
  shared_.loop.turnEndDel(turnEnd_);
  connections_.clear();
  ended_.clear();
}

void Server::Impl::close(const std::string& reason) {
  turnEnded();
  shared_.listener->onAcceptIs({});
  eachConnection([&](ServerConnection& connection) { connection.bye(reason); });
  turnEnded();
}

// ---- Connections -------------------------------------------------------------------------------

void Server::Impl::accept(std::unique_ptr<Stream> stream) {
  const std::uint32_t number = ++lastNumber_;
  connections_.emplace(number, std::make_unique<ServerConnection>(shared_, table_, *this,
                                                                  std::move(stream), number));
  ++shared_.activity;
  if (!beatTimer_.pending()) beatTimer_.scheduleAfter(beatSeconds);
}

/// Visits those of this moment: the visitor may end any.
void Server::Impl::eachConnection(const std::function<void(ServerConnection&)>& visit) const {
  Connections all;
  for (const auto& [number, connection] : connections_) all.push_back(connection.get());
  for (ServerConnection* one : all)
    if (!one->ended()) visit(*one);
}

void Server::Impl::ended(ServerConnection& connection, const std::string& fault) {
  auto found = connections_.extract(connection.number());
  ended_.push_back(std::move(found.mapped()));
  ++shared_.activity;
  wake(connection);  // the turn's end must come
  if (fault.empty()) return;
  const std::string reason = connection.holder() + ": " + fault;
  status_.badConnection(reason);
  shared_.report("connection of " + reason);
}

void Server::Impl::wake(ServerConnection& connection) {
  if (!std::exchange(connection.awake, true)) awake_.push_back(&connection);
}

void Server::Impl::wakeLater(ServerConnection& connection) {
  const std::uint32_t number = connection.number();
  shared_.loop.post([this, number] {
    const auto found = connections_.find(number);
    if (found != connections_.end()) wake(*found->second);
  });
}

void Server::Impl::ackDue(ServerConnection& connection, bool urgent) {
  if (!std::exchange(connection.unacked, true)) unacked_.push_back(&connection);
  acksUrgent_ = acksUrgent_ || urgent;
  if (!ackTimer_.pending()) ackTimer_.scheduleAfter(ackSeconds);
}

// ---- Turns -------------------------------------------------------------------------------------

/// What arrived is applied by now.
void Server::Impl::turnEnded() {
  shared_.commitLog();
  flush();
  if (acksUrgent_) acknowledge();
  for (const auto& one : ended_) {
    if (one->awake) std::erase(awake_, one.get());
    if (one->unacked) std::erase(unacked_, one.get());
  }
  ended_.clear();
  status_.turnEnded();
}

/// Sending may end connections, which others are to hear of.
void Server::Impl::flush() {
  for (std::size_t i = 0; i < awake_.size(); ++i) {
    awake_[i]->awake = false;
    awake_[i]->flush();
  }
  awake_.clear();
}

/// After the changes themselves, which others wait for.
void Server::Impl::acknowledge() {
  acksUrgent_ = false;
  ackTimer_.cancel();
  for (ServerConnection* one : std::exchange(unacked_, {})) {
    one->unacked = false;
    one->addAcks();
  }
  flush();
}

void Server::Impl::beat() {
  eachConnection([](ServerConnection& connection) { connection.beat(); });
  noteStalled();
  if (!connections_.empty()) beatTimer_.scheduleAfter(beatSeconds);
}

void Server::Impl::noteStalled() {
  std::size_t stalled = 0;
  for (const auto& [number, connection] : connections_) stalled += connection->stalled() ? 1 : 0;
  if (std::exchange(stalled_, stalled) != stalled) ++shared_.activity;
}

// ---- Server ------------------------------------------------------------------------------------

Server::Server(Kiln::EventLoop& loop, std::unique_ptr<Listener> listener,
               std::unique_ptr<LogFile> log, ServerOptions options)
    : impl_(std::make_unique<Impl>(loop, std::move(listener), std::move(log), std::move(options))) {
}

Server::~Server() = default;

const Database& Server::database() const { return *impl_->shared().database; }
const DatabaseLog& Server::log() const { return impl_->shared().log; }
std::size_t Server::connections() const { return impl_->connections(); }
void Server::close(const std::string& reason) { impl_->close(reason); }

}  // namespace Centrum
