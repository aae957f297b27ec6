#include "platform/centrum/Server.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <deque>
#include <map>
#include <memory>
#include <set>
#include <string>
#include <vector>

#include "platform/centrum/ServerStatus.h"
#include "platform/centrum/UnixStream.h"
#include "platform/forma/AttributeLog.h"
#include "platform/forma/Content.h"
#include "tests/support/SimNetwork.h"

namespace {

using namespace Centrum;
using Content = std::map<std::string, std::string>;

constexpr double soon = 1.0;  // seconds: long enough for what is under way on a fast network

std::string put(const std::string& key, const std::string& value) {
  std::string out;
  Forma::appendRecord(out, {Forma::LogOp::put, 0, key, value});
  return out;
}
std::string erase(const std::string& key) {
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

TEST_F(ServerTest, SaysWhyItRefuses) {
  const auto holder = owner("holder", "r/x");
  holder->batch(1, "");
  net.mayWrite("guest", false);
  const auto guest = client("guest", 13);
  const auto agent = client("agent", 14);
  const std::string self =
      "centrum (pid " + std::to_string(::getpid()) + ", uid " + std::to_string(::geteuid()) + ")";
  const struct {
    Client& who;
    const char* path;
    MountMode mode;
    const char* type;
    std::uint64_t schema;
    MountStatus status;
    std::string text;
  } cases[] = {
      {*agent, "r/x", MountMode::adopt, "T", 7, mountRefused(),
       "r/x is owned by holder (pid 12, uid 1000)"},
      {*agent, "r//x/", MountMode::replace, "T", 7, mountRefused(),
       "r/x is owned by holder (pid 12, uid 1000)"},
      {*guest, "r/y", MountMode::adopt, "T", 7, mountRefused(),
       "r/y: writing needs group sim (gid 1000) of the network; peer is uid 1000 gid 1000"},
      {*agent, "centrum/status", MountMode::adopt, "Centrum::Status", 7, mountRefused(),
       "centrum/status is owned by " + self},
      {*guest, "r/x", MountMode::read, "T", 8, mountRefused(),
       "r/x: the schema of T is 0000000000000008 here, but 0000000000000007 in the database"},
      {*guest, "r/x", MountMode::read, "U", 7, mountWrongType(), "r/x is of type T, not of type U"},
      {*agent, "r", MountMode::replace, "U", 7, mountWrongType(),
       "r is of type Forma::Dir, not of type U"},
      {*guest, "r/x/y", MountMode::read, "T", 7, mountWrongType(),
       "r/x is of type T, no directory for r/x/y"},
      {*agent, "r/x/y", MountMode::adopt, "T", 7, mountWrongType(),
       "r/x is of type T, no directory for r/x/y"},
      {*guest, "r/x", MountMode::read, "T", 7, mountSuccess(), ""},
      {*guest, "", MountMode::read, "Forma::Dir", 0, mountSuccess(), ""},
      {*guest, "r/y", MountMode::read, "T", 7, mountPending(), ""},
      {*agent, "r/d", MountMode::adopt, "Forma::Dir", 0, mountSuccess(), ""},
  };
  for (const auto& one : cases) {
    one.who.mount(one.path, one.mode, 3, false, one.type, one.schema);
    run();
    EXPECT_EQ(one.who.last().status, one.status) << one.path;
    EXPECT_EQ(one.who.last().text.view(), one.text);
  }
}

TEST_F(ServerTest, MountsThatWaitGoOnByThemselves) {
  const auto reader = client("reader", 13);
  reader->mount("r/x", MountMode::read);
  reader->mount("r", MountMode::read, 1, false, "Forma::Dir");
  reader->mount("r/x/below", MountMode::read);
  run();
  for (std::uint32_t i = 1; i <= 3; ++i) EXPECT_EQ(reader->mounted.at(i).status, mountPending_);

  const auto writer = owner("writer", "r/x");
  EXPECT_EQ(reader->mounted[1].status, mountPending_);  // until something is published
  writer->batch(1, put("a", "1"));
  run();
  EXPECT_EQ(reader->mounted[1].status, mountSuccess_);
  EXPECT_EQ(reader->mounted[3].status, mountWrongType_);
  EXPECT_EQ(reader->copies["r"].content, (Content{{"x", "T"}}));
  const Copy& copy = reader->copies["r/x"];
  EXPECT_EQ(copy.content, (Content{{"a", "1"}}));
  EXPECT_TRUE(reader->complete && copy.owner.present);
  EXPECT_EQ(copy.owner.holder, "writer (pid 12, uid 1000)");

  writer->drop();
  run(9);
  EXPECT_FALSE(copy.owner.present);
  reader->mount("r/x", MountMode::read);  // again: no second content, but the age
  run();
  EXPECT_NEAR(copy.owner.age, 9, 0.2);
  EXPECT_EQ(copy.snapshots, 1);

  writer->connect();
  writer->mount("r/x", MountMode::replace);
  run();
  writer->send(Message::Remove{writer->last().path});
  run();
  EXPECT_EQ(reader->copies.count("r/x"), 0U);
  EXPECT_TRUE(reader->copies["r"].content.empty());
  writer->mount("r/z", MountMode::replace);
  run();
  EXPECT_EQ(reader->copies["r"].content, (Content{{"z", "T"}}));
  reader->send(Message::Unmount{reader->mounted[1].path});  // as one that did not know yet
  run();
  EXPECT_EQ(reader->bye, "");
}

TEST_F(ServerTest, WhoeverComesBackGetsDifferencesOnly) {
  auto writer = owner("writer", "r/x");
  writer->batch(1, put("a", "1") + put("b", "1") + put("c", "1"));
  const auto reader = client("reader", 13);
  reader->mount("r/x", MountMode::read);
  run();
  EXPECT_EQ(writer->acked[writer->last().path], 1U);
  reader->drop();
  writer->batch(2, erase("a") + put("b", "2"));
  writer->send(Message::Batch{writer->last().path, 3, true, true, put("half", "")});
  run();
  serve();  // as after a kill; what was half a batch is gone
  writer->connect();
  writer->mount("r/x", MountMode::adopt, 12);
  run();
  EXPECT_TRUE(writer->last().instanceKnown);
  EXPECT_EQ(writer->last().lastBatch, 2U);
  EXPECT_EQ(writer->copy().snapshots, 0);  // its own writes are not sent back to it
  writer->batch(2, put("a", "late"));      // a duplicate
  reader->connect();
  reader->mount("r/x", MountMode::read, 1, true);
  run();
  EXPECT_EQ(reader->copy().content, (Content{{"b", "2"}, {"c", "1"}}));
  EXPECT_EQ(reader->copy().snapshots, 1);
  EXPECT_EQ(writer->acked[writer->last().path], 2U);

  // Another instance is told the content before it writes; a database without a log is another.
  const auto next = client("next", 14);
  net.freeze("writer", true);
  next->mount("r/x", MountMode::adopt, 14);
  run();
  EXPECT_EQ(next->last().status, mountRefused_);  // frozen is not gone
  writer->drop();
  net.freeze("writer", false);
  run();
  next->mount("r/x", MountMode::adopt, 14);
  run();
  next->batch(1, put("own", ""));  // is not sent back either
  run();
  EXPECT_EQ(next->copy().content, (Content{{"b", "2"}, {"c", "1"}}));
  log.clear();
  options.freshEpoch = 78;
  serve();
  next->connect();
  next->mount("r/x", MountMode::adopt, 14, true);
  run();
  EXPECT_TRUE(next->last().instanceKnown);  // there is nothing that it would have to take over
  EXPECT_EQ(next->last().lastBatch, 0U);
}

/// The kernel tells of connections in the order in which something happened to them.
TEST_F(ServerTest, WhoWasKilledIsNoOwnerAnyMore) {
  const std::string socket = testing::TempDir() + "server" + std::to_string(::getpid());
  server.reset();
  server = std::make_unique<Server>(loop, unixListenerFactory(loop, socket, 0600), nullptr);
  Client killed(unixConnectorFactory(loop, socket), "killed");
  killed.mount("r/x", MountMode::adopt, 1);
  Client next(unixConnectorFactory(loop, socket), "next");
  loop.runUntilIdle();
  killed.batch(1, put("a", "1"));
  loop.runUntilIdle();
  next.mount("r/x", MountMode::adopt, 2);
  killed.batch(2, put("b", "last words"));
  killed.drop();
  loop.runUntilIdle();
  EXPECT_EQ(next.last().status, mountSuccess_) << next.last().text;
  EXPECT_EQ(next.copy().content, (Content{{"a", "1"}, {"b", "last words"}}));
  EXPECT_EQ(server->connections(), 1U);
  server->close("the server ends");
  EXPECT_EQ(server->connections(), 0U);
  loop.runUntilIdle();
  EXPECT_EQ(next.bye, "the server ends");
}

/// What the clients of the model run hold, written to "r/0" to "r/2" by one of them each.
class ServerModel : public ServerTest, public testing::WithParamInterface<std::uint32_t> {
 protected:
  struct Writer {
    std::unique_ptr<Client> client;
    std::string path;
    Content truth;
    std::uint64_t newest = 0;
    std::map<std::uint64_t, std::string> unacked;  // batches
  };

  std::uint32_t random(std::uint32_t bound) { return net.random(bound); }

  void write(Writer& writer) {
    std::map<std::string, std::string> changes;
    for (std::uint32_t n = random(random(10) == 0 ? 300 : 4); n-- > 0;) {
      const std::string key = std::to_string(random(400));
      const bool gone = random(3) == 0;
      const std::string value(random(600), 'v');
      if (gone) writer.truth.erase(key);
      else writer.truth[key] = value;
      changes[key] = gone ? erase(key) : put(key, value);
    }
    std::string records;
    for (const auto& [key, record] : changes) records += record;
    writer.unacked[++writer.newest] = records;
    if (writer.client->last().status == mountSuccess_) writer.client->batch(writer.newest, records);
  }
  void comeBack(Writer& writer) {
    writer.client->connect();
    writer.client->mount(writer.path, MountMode::adopt, 5);
    run(1);
    ASSERT_EQ(writer.client->last().status, mountSuccess_) << writer.client->last().text;
    const std::uint64_t kept = writer.client->last().lastBatch;
    writer.client->acked[writer.client->last().path] = kept;
    std::erase_if(writer.unacked, [kept](const auto& one) { return one.first <= kept; });
    for (const auto& [number, records] : writer.unacked) writer.client->batch(number, records);
  }
  void comeBack(Client& reader) {
    if (random(3) == 0) reader.copies.clear();
    reader.connect();
    for (std::uint32_t i = 0; i < 3; ++i) {
      const std::string path = "r/" + std::to_string(i);
      reader.mount(path, MountMode::read, 9, reader.copies[path].since != 0);
    }
  }
  void step(std::vector<Writer>& writers, std::vector<std::unique_ptr<Client>>& readers) {
    Client& reader = *readers[random(4)];
    Writer& writer = writers[random(3)];
    const std::string name = "reader" + std::to_string(random(4));
    switch (random(40)) {
      case 0:
        return net.cut(name);
      case 1:
        return net.rate(name, random(2) == 0 ? 0 : 20'000);
      case 2:
        return net.freeze(name, random(2) == 0);
      case 3:
        return writer.client->closed ? comeBack(writer) : net.cut("writer" + writer.path);
      case 4:
        return random(5) == 0 ? serve() : run(3);
      case 5:
        return reader.closed ? comeBack(reader) : run(1);
      default:
        return random(3) == 0 ? run(0.01) : writer.client->closed ? void() : write(writer);
    }
  }
};

TEST_P(ServerModel, AllReadersEndWithWhatWasWritten) {
  for (std::uint32_t i = GetParam(); i > 0; --i) random(1000);
  options.chunkBytes = GetParam() % 2 == 0 ? 2000 : 40'000;
  options.snapshotsAtOnce = 2;
  serve();
  std::vector<Writer> writers(3);
  for (std::size_t i = 0; i < writers.size(); ++i) {
    writers[i].path = "r/" + std::to_string(i);
    writers[i].client = client("writer" + writers[i].path, 20 + static_cast<int>(i));
    comeBack(writers[i]);
  }
  std::vector<std::unique_ptr<Client>> readers;
  for (int i = 0; i < 4; ++i) {
    readers.push_back(client("reader" + std::to_string(i), 30 + i));
    comeBack(*readers.back());
  }
  for (int i = 0; i < 1500; ++i) step(writers, readers);
  for (std::size_t i = 0; i < readers.size(); ++i) {
    net.freeze("reader" + std::to_string(i), false);
    net.rate("reader" + std::to_string(i), 0);
  }
  run(20);
  for (Writer& writer : writers)
    if (writer.client->closed) comeBack(writer);
  for (const auto& reader : readers)
    if (reader->closed) comeBack(*reader);
  run(20);
  for (const auto& reader : readers) {
    EXPECT_TRUE(reader->complete);
    EXPECT_EQ(reader->marked, server->database().sequence());
    for (const Writer& writer : writers)
      EXPECT_TRUE(reader->copies[writer.path].content == writer.truth) << "seed " << GetParam();
  }
  for (const Writer& writer : writers)
    EXPECT_EQ(writer.client->acked[writer.client->last().path], writer.newest);
}
INSTANTIATE_TEST_SUITE_P(Seeds, ServerModel, testing::Range(1U, 9U));

TEST_F(ServerTest, SlowReadersConcernNobodyElse) {
  options.snapshotsAtOnce = 1;
  options.chunkBytes = 4096;
  net.capacity(16'384);
  net.delay(0, 0.0001);
  serve();
  const auto writer = owner("writer", "r/x");
  const std::string value(1000, 'v');
  for (int i = 0; i < 300; ++i) {
    writer->batch(static_cast<std::uint64_t>(i) + 1, put(std::to_string(i), value));
    run(0.02);
  }
  const auto small = owner("small", "r/y", 20);
  small->batch(1, put("y", "1"));
  net.rate("slow", 2000);
  const auto slow = client("slow", 13);
  slow->mount("r/y", MountMode::read);
  slow->mount("r/x", MountMode::read);
  run();
  std::vector<std::unique_ptr<Client>> quick;
  for (const char* name : {"quick", "fast"}) {  // wait until the slow one gives its place up
    quick.push_back(client(name, 14));
    quick.back()->mount("r/x", MountMode::read);
  }
  run(1.5);
  const auto& fast = quick.back();
  for (const auto& one : quick) {
    EXPECT_EQ(one->copy().content.size(), 300U);
    EXPECT_TRUE(one->complete);
  }
  small->batch(2, put("y", "2"));
  run(60);
  EXPECT_EQ(slow->marks, 2);  // the change does not wait for the snapshot
  EXPECT_EQ(slow->copies["r/y"].content["y"], "2");
  EXPECT_FALSE(slow->complete);
  std::uint64_t number = 300;
  for (int i = 0; i < 2000; ++i) {
    writer->batch(++number, put(std::to_string(i % 10), std::to_string(i) + value));
    run(0.02);
    EXPECT_TRUE(fast->complete);
  }
  EXPECT_EQ(fast->copy().content["9"], "1999" + value);
  EXPECT_GE(fast->marks, 2000);
  std::string come;  // so many that the database forgets that they went
  std::string go;
  for (int i = 0; i < 6000; ++i) {
    come += put("k" + std::to_string(i), "");
    go += erase("k" + std::to_string(i));
  }
  writer->batch(++number, come);
  run();
  writer->batch(++number, go);
  run(600);
  EXPECT_GT(slow->copy().snapshots, 1);
  EXPECT_EQ(slow->copy().content, fast->copy().content);
  EXPECT_TRUE(slow->complete);
  EXPECT_LT(net.bytesTo("slow"), 900'000U);  // of the 2.5 MB that were written
}

/// Every part of a conversation is cut and changed, byte by byte.
TEST_F(ServerTest, NonsenseClosesOnlyTheConnectionThatSentIt) {
  const auto good = owner("good", "r/good");
  good->batch(1, put("a", "1"));
  const auto probe = owner("probe", "r/bad", 40);
  const std::uint32_t path = probe->last().path;
  probe->drop();
  run();
  std::string talk;
  appendFrame(talk, Message::Hello{protocolVersion, "bad"});
  appendFrame(talk, Message::Mount{1, "r/bad", "T", 7, 1, 9, 0, 0});
  appendFrame(talk, Message::Mount{2, "r/good", "T", 7, 0, 9, 77, 1});
  const std::string whole = put("k", "left") + put("l", "right");
  appendFrame(talk, Message::Batch{path, 1, true, true, whole.substr(0, 7)});
  appendFrame(talk, Message::Batch{path, 1, false, true, whole.substr(7)});
  appendFrame(talk, Message::Beat{1});
  appendFrame(talk, Message::Unmount{path});
  int closed = 0;
  for (std::size_t i = 0; i < 2 * talk.size(); ++i) {
    std::string bytes = talk.substr(0, i < talk.size() ? i : talk.size());
    if (i >= talk.size()) bytes[i - talk.size()] = static_cast<char>(bytes[i - talk.size()] + 1);
    const auto bad = client("bad", 41);
    bad->connectSilently();
    bad->sendBytes(bytes);
    run(0.05);
    closed += bad->closed ? 1 : 0;
  }
  run();
  EXPECT_GT(closed, 100);
  EXPECT_EQ(server->connections(), 1U);
  const std::size_t cells = server->database().find("r/bad")->liveCells();
  EXPECT_TRUE(cells == 0 || cells == 2) << cells;
  good->batch(2, put("b", "2"));
  run();
  EXPECT_EQ(server->database().find("r/good")->liveCells(), 2U);

  const auto reason = [&](const std::vector<Message::Any>& messages, bool hello = true) {
    const auto bad = client("bad", 41);
    if (!hello) bad->connect(2);
    for (const Message::Any& one : messages) bad->send(one);
    run();
    EXPECT_TRUE(bad->closed);
    const std::string begin = "connection of bad (pid 41, uid 1000): ";
    EXPECT_EQ(reported.substr(0, begin.size()), begin);
    return reported.substr(begin.size());
  };
  const std::uint32_t theirs = good->last().path;
  EXPECT_EQ(reason({}, false), "the server speaks version 1 of the protocol, the client version 2");
  EXPECT_EQ(reason({Message::Hello{}}), "a second Hello");
  EXPECT_EQ(reason({Message::Welcome{}}), "a message that only servers send");
  EXPECT_EQ(reason({Message::Unmount{99}}), "Unmount of path 99, which is not mounted");
  EXPECT_EQ(reason({Message::Remove{theirs}}),
            "Remove for path " + std::to_string(theirs) + ", which the client does not own");
  const Message::Mount own{1, "r/bad", "T", 7, 1, 9, 0, 0};
  EXPECT_EQ(reason({own, Message::Batch{path, 5, false, false, ""},
                    Message::Batch{path, 4, false, false, ""}}),
            "batch 4 comes after batch 5");
  EXPECT_EQ(reason({own, Message::Batch{path, 7, true, false, ""},
                    Message::Batch{path, 8, false, false, ""}}),
            "batch 8 begins before batch 7 has ended");
}

TEST_F(ServerTest, ShowsItsStatusToThoseWhoLook) {
  const auto writer = owner("writer", "r/x");
  writer->batch(1, put("a", "12345"));
  const auto bad = client("bad", 15);
  bad->send(Message::Hello{});
  const auto watcher = client("watcher", 13);
  run();
  const std::uint64_t schema = server->database().find(statusPath)->schema();
  watcher->mount(std::string(statusPath), MountMode::read, 1, false, "Centrum::Status", schema);
  run();
  EXPECT_TRUE(watcher->complete);
  EXPECT_GT(watcher->copy().content.size(), 0U);
  const Forma::Ptr<Status> status = statusFactory("status");
  const auto look = [&] {
    Cursor cursor(*server->database().find(statusPath));
    cursor.toHead();
    const auto frames = cursor.path().nextDelta(cursor, 1U << 20, true, true);
    FrameReader reader;
    std::copy(frames->begin(), frames->end(), reader.room(frames->size()));
    reader.added(frames->size());
    Message::Any message;
    ASSERT_TRUE(reader.next(message));
    Forma::ContentApplier().apply(*status, std::get<Message::Delta>(message).records);
  };
  look();
  EXPECT_EQ(status->epoch(), 77U);
  EXPECT_EQ(status->badConnections(), 1U);
  EXPECT_EQ(status->lastBadReason().view(), "bad (pid 15, uid 1000): a second Hello");
  EXPECT_GT(status->logBytes(), 0U);
  const PathStatus path = status->path("r/x");
  EXPECT_EQ(path.typeName(), "T");
  EXPECT_EQ(path.owner(), "writer (pid 12, uid 1000)");
  EXPECT_TRUE(path.ownerPresent());
  EXPECT_EQ(path.cells(), 1U);
  const auto client = [&](const char* name) {
    for (const auto& one : status->clientIteratorConst())
      if (one.value.name() == name) return one.value;
    return ClientStatus();
  };
  EXPECT_EQ(client("writer").pathsOwned(), 1U);
  EXPECT_EQ(client("watcher").pathsMounted(), 1U);
  EXPECT_EQ(client("writer").pid(), 12U);

  net.freeze("writer", true);
  run(21);  // the watcher sends nothing either
  look();
  EXPECT_TRUE(client("writer").stalled() && client("watcher").stalled());
  const int marks = watcher->marks;
  const std::uint64_t bytes = net.bytesTo("watcher");
  run(50);  // nothing happens: beats alone are sent
  EXPECT_EQ(watcher->marks, marks);
  EXPECT_LE(net.bytesTo("watcher") - bytes, 10U * 13U);
  run(50'000);
  net.freeze("writer", false);
  run();
  EXPECT_LT(net.bytesTo("writer"), 70'000U);  // no more than the network held
}

}  // namespace
