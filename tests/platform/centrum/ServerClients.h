/// What the tests of the server share: clients that speak frames and check the order of what they
/// are told, and a server on a simulated network.
#pragma once

#include <gtest/gtest.h>

#include <map>
#include <memory>
#include <set>
#include <string>
#include <utility>
#include <variant>

#include "platform/centrum/Server.h"
#include "platform/forma/AttributeLog.h"
#include "tests/support/SimNetwork.h"

namespace Centrum::ServerTesting {

using Content = std::map<std::string, std::string>;

constexpr double soon = 1.0;  // seconds: long enough for what is under way on a fast network

inline std::string put(const std::string& key, const std::string& value) {
  std::string out;
  Forma::appendRecord(out, {Forma::LogOp::put, 0, key, value});
  return out;
}
inline std::string erase(const std::string& key) {
  std::string out;
  Forma::appendRecord(out, {Forma::LogOp::erase, 0, key, {}});
  return out;
}

/// What a server that is killed leaves behind.
class MemoryLog : public LogFile {
 public:
  explicit MemoryLog(std::string& bytes) : bytes_(bytes) {}
  std::string content() override { return bytes_; }
  void append(std::string_view bytes) override { bytes_ += bytes; }
  void contentIs(std::string_view bytes) override { bytes_ = bytes; }
  void remove() override { bytes_.clear(); }
  std::string name() const override { return "memory"; }

 private:
  std::string& bytes_;
};

/// What a client holds of one path.
struct Copy {
  Content content;
  bool filling = false;          // a snapshot is due or under way
  std::set<std::string> stated;  // by it
  std::set<std::string> group;   // keys since the last Mark
  Sequence since = 0;            // it is of that moment, at least
  int snapshots = 0;
  Message::Owner owner;
};

/// A client that speaks frames, and checks the order of what it is told.
class Client {
 public:
  Client(std::unique_ptr<Connector> connector, std::string name)
      : connector_(std::move(connector)), name_(std::move(name)) {
    connect();
  }

  void connect(std::uint32_t version = protocolVersion) {
    connectSilently();
    send(Message::Hello{version, Forma::String8(name_)});
  }
  void connectSilently() {
    closed = false;
    bye.clear();
    mounted.clear();
    reader_ = {};
    stream_ = connector_->connect();
    ASSERT_TRUE(stream_);
    unsent_.clear();
    paths_.clear();
    stream_->onReadableIs([this] { receive(); });
    stream_->onWritableIs([this] { sendBytes(""); });
  }
  void drop() { stream_.reset(); }

  void send(const Message::Any& message) {
    std::string bytes;
    appendFrame(bytes, message);
    sendBytes(bytes);
  }
  void sendBytes(std::string_view bytes) {
    unsent_ += bytes;
    if (stream_) unsent_.erase(0, stream_->write(unsent_));
  }
  void mount(const std::string& path, MountMode mode, std::uint64_t instance = 1,
             bool resume = false, const std::string& type = "T", std::uint64_t schema = 7) {
    asked_[++request] = {path, mode};
    send(Message::Mount{request, Forma::String8(path), Forma::String8(type), schema,
                        static_cast<std::uint8_t>(mode), instance, resume ? epoch : 0,
                        resume ? copies[path].since : 0});
  }
  /// Those of even number go in two parts.
  void batch(std::uint64_t number, std::string_view records) {
    const std::size_t half = number % 2 == 0 ? records.size() / 2 : 0;
    if (half != 0) send(Message::Batch{last().path, number, true, false, records.substr(0, half)});
    send(Message::Batch{last().path, number, false, false, records.substr(half)});
  }
  const Message::Mounted& last() { return mounted[request]; }
  /// Of the path that was asked for last.
  Copy& copy() { return copies[asked_[request].path]; }

  std::uint32_t request = 0;                          // the newest
  std::map<std::uint32_t, Message::Mounted> mounted;  // by request
  std::map<std::string, Copy> copies;                 // by path; survive a reconnect
  std::map<std::uint32_t, std::uint64_t> acked;       // by number of the path
  Epoch epoch = 0;
  Sequence marked = 0;
  bool complete = false;
  int marks = 0;
  std::string bye;
  bool closed = false;

 private:
  void receive() {
    for (;;) {
      const auto got = stream_->read(reader_.room(4096), 4096);
      reader_.added(got.count);
      for (Message::Any message; reader_.next(message);)
        std::visit([this](const auto& one) { take(one); }, message);
      closed = closed || got.closed;
      if (got.closed) return drop();
      if (got.count < 4096) return;
    }
  }
  template <class M>
  void take(const M&) {}
  void take(const Message::Welcome& m) {
    if (std::exchange(epoch, m.epoch) != m.epoch) marked = 0;
  }
  void take(const Message::Mounted& m) {
    mounted[m.request] = m;
    if (m.status != mountSuccess_) return;
    const auto& [path, mode] = asked_[m.request];
    Copy& copy = copies[paths_[m.path] = path];
    copy.group.clear();
    copy.filling = mode != MountMode::replace && !m.instanceKnown && copy.since == 0;
  }
  void take(const Message::Owner& m) { copies.at(paths_.at(m.path)).owner = m; }
  void take(const Message::Ack& m) { acked[m.path] = m.number; }
  void take(const Message::Removed& m) { copies.erase(paths_.extract(m.path).mapped()); }
  void take(const Message::Bye& m) { bye = m.reason.view(); }
  void take(const Message::Delta& m) {
    Copy& copy = copies.at(paths_.at(m.path));
    complete = false;
    if (m.begin) {
      copy.filling = true;
      copy.stated.clear();
      ++copy.snapshots;
    }
    for (Forma::BytesIn in(m.records); !in.atEnd();) takeRecord(copy, Forma::takeRecord(in));
    if (!m.end) return;
    EXPECT_TRUE(copy.filling);
    copy.filling = false;
    std::erase_if(copy.content, [&](const auto& one) { return !copy.stated.count(one.first); });
  }
  static void takeRecord(Copy& copy, const Forma::LogRecord& record) {
    const std::string key = std::string(record.member, 'm') + std::string(record.key);
    EXPECT_TRUE(copy.group.insert(key).second) << "twice in a group: " << key;
    if (record.op == Forma::LogOp::put) {
      copy.content[key] = record.value;
      copy.stated.insert(key);
    } else {
      copy.content.erase(key);
      copy.stated.erase(key);
    }
  }
  void take(const Message::Mark& m) {
    complete = m.complete;
    EXPECT_TRUE(!complete || m.sequence >= std::exchange(marked, m.sequence));
    ++marks;
    for (const auto& [number, path] : paths_) {
      Copy& copy = copies[path];
      copy.group.clear();
      EXPECT_FALSE(complete && copy.filling);
      if (complete) copy.since = m.sequence;
    }
  }

  const std::unique_ptr<Connector> connector_;
  const std::string name_;
  std::unique_ptr<Stream> stream_;
  FrameReader reader_;
  std::string unsent_;
  struct Asked {
    std::string path;
    MountMode mode = MountMode::replace;
  };
  std::map<std::uint32_t, Asked> asked_;        // by request
  std::map<std::uint32_t, std::string> paths_;  // by number
};

class ServerTest : public testing::Test {
 protected:
  ServerTest() {
    loop.exceptionHandlerIs([](const std::exception_ptr&) { FAIL() << "a handler raised"; });
    options.freshEpoch = 77;
    options.report = [this](const std::string& text) { reported = text; };
    serve();
  }
  void serve() {
    server.reset();
    server =
        std::make_unique<Server>(loop, net.listener(), std::make_unique<MemoryLog>(log), options);
  }
  void run(double seconds = soon) { loop.advance(clock, seconds); }
  std::unique_ptr<Client> client(const std::string& name, int pid = 12) {
    net.peer(name, {pid, 1000, 1000, {}});
    return std::make_unique<Client>(net.connector(name), name);
  }
  /// A client that owns `path`.
  std::unique_ptr<Client> owner(const std::string& name, const std::string& path, int pid = 12) {
    auto one = client(name, pid);
    one->mount(path, MountMode::adopt, static_cast<std::uint64_t>(pid));
    run();
    EXPECT_EQ(one->last().status, mountSuccess_) << one->last().text;
    return one;
  }

  Kiln::TestClock clock;
  Kiln::EventLoop loop{clock};
  SimNetwork net{loop, 5};
  std::string log;
  std::string reported;
  ServerOptions options;
  std::unique_ptr<Server> server;
};

}  // namespace Centrum::ServerTesting
