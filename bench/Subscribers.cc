#include "bench/Subscribers.h"

#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <stdexcept>
#include <utility>
#include <variant>
#include <vector>

#include "bench/Agent.h"
#include "bench/CentrumChain.h"
#include "bench/Row.h"
#include "bench/Sockets.h"
#include "platform/centrum/Protocol.h"
#include "platform/forma/AttributeLog.h"
#include "platform/forma/Schema.h"

namespace Bench {
namespace {

namespace Message = Centrum::Message;

// ---- Sinks -------------------------------------------------------------------------------------

class Sink {
 public:
  Sink(const std::string& socket, std::uint64_t instance) : fd_(connectTo(socket)) {
    Forma::TypeRegistry registry;
    registry.add<Row>();
    registry.addEntity<Rows>();
    Message::Mount mount;
    mount.path = Forma::String8(rowsPath);
    mount.typeName = Forma::String8(Rows::formaTypeName);
    mount.schema = Forma::schemaHash(Rows::formaEntityType(), registry);
    mount.instance = instance;
    std::string out;
    Message::Hello hello;
    hello.name = "sink";
    Centrum::appendFrame(out, hello);
    Centrum::appendFrame(out, mount);
    sendAll(fd_, out);
  }
  int fd() const { return fd_; }
  std::size_t changes() const { return changes_; }

  /// Reads what is there.
  void read() {
    constexpr std::size_t room = 256 << 10;
    const ssize_t got = recv(fd_, frames_.room(room), room, 0);
    require(got > 0, "recv");
    frames_.added(static_cast<std::size_t>(got));
    while (frames_.next(message_))
      if (const auto* delta = std::get_if<Message::Delta>(&message_)) count(*delta);
  }
  void beat() {
    std::string out;
    Centrum::appendFrame(out, Message::Beat{});
    sendAll(fd_, out);
  }

 private:
  /// Records may go on in the next frame.
  void count(const Message::Delta& delta) {
    records_.append(delta.records);
    Forma::BytesIn in(records_);
    try {
      while (!in.atEnd()) {
        const Forma::BytesIn before = in;
        rest_ = before.rest().size();
        if (Forma::takeRecord(in).op == Forma::LogOp::put) ++changes_;
        rest_ = in.rest().size();
      }
    } catch (const Forma::ParseException&) {
    }
    records_.erase(0, records_.size() - std::exchange(rest_, 0));
  }

  int fd_;  // open as long as the process lives
  Centrum::FrameReader frames_;
  Message::Any message_;
  std::string records_;
  std::size_t rest_ = 0;  // bytes of records_ that are no whole record
  std::size_t changes_ = 0;
};

class Sinks {
 public:
  Sinks(const std::string& socket, std::size_t subscribers) {
    for (std::size_t i = 0; i < subscribers; ++i) all_.emplace_back(socket, i + 1);
    for (const Sink& sink : all_) polls_.push_back({sink.fd(), POLLIN, 0});
  }

  Answer handle(const Command& task) {
    wanted_ += task.count;
    for (Sink& sink : all_) sink.beat();
    while (std::any_of(all_.begin(), all_.end(),
                       [this](const Sink& sink) { return sink.changes() < wanted_; })) {
      require(poll(polls_.data(), polls_.size(), -1) > 0, "poll");
      for (std::size_t i = 0; i < all_.size(); ++i)
        if (polls_[i].revents != 0) all_[i].read();
    }
    return {};
  }

 private:
  std::vector<Sink> all_;
  std::vector<pollfd> polls_;
  std::size_t wanted_ = 0;  // changes of each, in all
};

// ---- The follower ------------------------------------------------------------------------------

class Follower {
 public:
  explicit Follower(const std::string& socket) : agent_(socket, "follower") {
    group_ = agent_.em->getMountGroup();
    group_->doMount(Forma::String8(rowsPath), Forma::String8(Rows::formaTypeName), "r");
    group_->doClose(Forma::Ptr<Ignore>(new Ignore));
    agent_.runUntil([this] { return agent_.em->counters().bytesReceived > 0; }, "answered");
  }

  Answer handle(const Command& task) {
    agent_.runUntil([&] { return has(task.count, task.generation); }, "converged");
    return {};
  }

 private:
  struct Ignore : Centrum::MountCallback {
    void doMountsComplete(Centrum::MountStatus, Forma::Ptr<Centrum::EntityManager>) override {}
  };
  bool has(std::uint32_t count, std::uint64_t generation) const {
    const auto rows = Forma::ptrCast<Rows>(agent_.em->getEntity(Forma::String8(rowsPath)));
    if (!rows || rows->rows() != count) return false;
    for (RowKey key = 0; key < count; ++key) {
      const Row* const row = rows->rowFind(key);
      if (row == nullptr || row->generation() != generation) return false;
    }
    return true;
  }

  Agent agent_;
  Forma::Ptr<Centrum::MountGroup> group_;
};

// ---- The throttle ------------------------------------------------------------------------------

/// Passes on what is there, up to `room` bytes; ends the process at the end of the stream.
void passOn(int from, int to, std::size_t room) {
  std::string bytes(room, '\0');
  const ssize_t got = recv(from, bytes.data(), room, MSG_DONTWAIT);
  if (got == 0) _exit(0);
  if (got > 0) sendAll(to, std::string_view(bytes).substr(0, static_cast<std::size_t>(got)));
}

void throttle(int client, int server, int control) {
  constexpr std::size_t whole = 64 << 10;
  constexpr std::size_t sip = 100;
  constexpr int sipInterval = 100;  // milliseconds
  bool limited = true;
  std::uint64_t nextSip = now();
  for (;;) {
    std::array<pollfd, 3> polls{pollfd{client, POLLIN, 0},
                                pollfd{limited ? control : -1, POLLIN, 0},
                                pollfd{limited ? -1 : server, POLLIN, 0}};
    poll(polls.data(), polls.size(), sipInterval / 10);
    if (polls[0].revents != 0) passOn(client, server, whole);
    if (polls[1].revents != 0) limited = false;
    if (polls[2].revents != 0) passOn(server, client, whole);
    if (!limited || now() < nextSip) continue;
    passOn(server, client, sip);
    nextSip += sipInterval * std::uint64_t{1'000'000};
  }
}

}  // namespace

std::unique_ptr<Worker> sinks(const std::string& socket, std::size_t subscribers) {
  return std::make_unique<Worker>("sinks", otherCore, [&]() -> Worker::Handler {
    return [all = std::make_shared<Sinks>(socket, subscribers)](const Command& task) {
      return all->handle(task);
    };
  });
}

std::unique_ptr<Worker> follower(const std::string& socket) {
  return std::make_unique<Worker>("follower", otherCore, roleOf<Follower>(socket));
}

Throttle::Throttle(const std::string& socket, const std::string& server) : control_(socketPair()) {
  const int listener = listenAt(socket);
  process_ = std::make_unique<Process>("throttle", otherCore, [&] {
    const int client = accept(listener, nullptr, nullptr);
    require(client >= 0, "accept");
    throttle(client, connectTo(server), control_[1]);
  });
  close(listener);
}

Throttle::~Throttle() {
  for (const int fd : control_) close(fd);
}

void Throttle::lift() { sendAll(control_[0], "x"); }

}  // namespace Bench
