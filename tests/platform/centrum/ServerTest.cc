#include "platform/centrum/Server.h"

#include <unistd.h>

#include "platform/centrum/ServerStatus.h"
#include "platform/centrum/UnixStream.h"
#include "platform/forma/Content.h"
#include "tests/platform/centrum/ServerClients.h"

namespace Centrum::ServerTesting {
namespace {

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
}  // namespace Centrum::ServerTesting
