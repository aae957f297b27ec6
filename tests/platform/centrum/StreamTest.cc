// What every kind of connection keeps to, and the faults of the simulated one.

#include "platform/centrum/Stream.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <array>
#include <cstdlib>
#include <random>
#include <system_error>
#include <vector>

#include "platform/centrum/UnixStream.h"
#include "tests/support/SimNetwork.h"

namespace Centrum {
namespace {

/// Sends numbered bytes as fast as they are taken, and checks those that come in.
struct Talker {
  explicit Talker(std::unique_ptr<Stream> theStream) : stream(std::move(theStream)) {
    stream->onWritableIs([this] { ++writables, talk(); });
    stream->onReadableIs([this] { hear(); });
  }
  void talk() {
    while (sent < goal) {
      std::string bytes(std::min<std::size_t>(goal - sent, 1 + random() % 30000), '\0');
      for (std::size_t i = 0; i < bytes.size(); ++i) bytes[i] = numbered(sent + i);
      const std::size_t taken = stream->write(bytes);
      sent += taken;
      if (taken < bytes.size()) return;
    }
  }
  void hear() {
    std::array<char, 20000> room;
    const auto got = stream->read(room.data(), 1 + random() % room.size());
    for (std::size_t i = 0; i < got.count; ++i) wrong += room.at(i) != numbered(heard + i);
    heard += got.count;
    closed = got.closed;
    if (closed) stream.reset();  // inside its handler
  }
  static char numbered(std::size_t at) { return static_cast<char>(at * 2654435761U >> 13); }

  std::unique_ptr<Stream> stream;
  std::minstd_rand random;
  std::size_t goal = 0, sent = 0, heard = 0, wrong = 0, writables = 0;
  bool closed = false;
};

/// Over a Unix socket (false) or a simulated network (true).
class StreamTest : public testing::TestWithParam<bool> {
 protected:
  StreamTest() { EXPECT_NE(::mkdtemp(folder.data()), nullptr); }
  ~StreamTest() override {
    listener.reset();
    EXPECT_EQ(::rmdir(folder.c_str()), 0) << "something was left behind";
  }
  std::unique_ptr<Listener> listen() {
    return GetParam() ? net.listener() : unixListenerFactory(loop, folder + "/s", 0600);
  }
  std::unique_ptr<Connector> connector() {
    return GetParam() ? net.connector("it") : unixConnectorFactory(loop, folder + "/s");
  }
  /// Sets up `client` and `server`.
  void connectBoth() {
    listener = listen();
    listener->onAcceptIs(
        [this](auto stream) { server = std::make_unique<Talker>(std::move(stream)); });
    client = std::make_unique<Talker>(connector()->connect());
    run();
    ASSERT_TRUE(server);
  }
  void run() { loop.advance(clock, 1000); }

  Kiln::TestClock clock;
  Kiln::EventLoop loop{clock};
  SimNetwork net{loop, 1};
  std::string folder = "/tmp/stream-test-XXXXXX";
  std::unique_ptr<Listener> listener;
  std::unique_ptr<Talker> client, server;
};
INSTANTIATE_TEST_SUITE_P(Transports, StreamTest, testing::Bool());

TEST_P(StreamTest, BytesArriveInOrderBothWaysThroughFullBuffers) {
  connectBoth();
  client->goal = server->goal = 3'000'000;
  client->talk();
  server->talk();
  const std::size_t held = client->sent;
  EXPECT_LT(held, 1'000'000U) << "the peer did not read yet";
  run();
  for (const auto* one : {client.get(), server.get()}) {
    EXPECT_EQ(one->heard, 3'000'000U);
    EXPECT_EQ(one->wrong, 0U);
    EXPECT_GT(one->writables, 2U);
  }
}

TEST_P(StreamTest, TheEndComesBehindTheLastByteAndLaterWritesVanish) {
  connectBoth();
  EXPECT_FALSE(server->stream->peerGone());
  server->stream->onReadableIs({});
  while (client->goal == client->sent) client->goal += 10'000, client->talk();
  client->stream.reset();
  run();
  EXPECT_TRUE(server->stream->peerGone());
  EXPECT_EQ(server->stream->write("nobody reads this"), 17U);
  EXPECT_EQ(server->heard, 0U);
  server->stream->onReadableIs([this] { server->hear(); });
  run();
  EXPECT_TRUE(server->closed);
  EXPECT_EQ(server->heard, client->sent);
  EXPECT_EQ(server->wrong, 0U);
}

TEST_P(StreamTest, AFullWriterHearsThatItsPeerWent) {
  connectBoth();
  server->stream->onReadableIs({});
  client->goal = 3'000'000;
  client->talk();
  run();
  EXPECT_LT(client->sent, client->goal);
  server.reset();
  run();
  EXPECT_TRUE(client->closed);
}

TEST_P(StreamTest, OneListensAndWhoConnectsMeanwhileWaitsOrIsTold) {
  const auto connecting = connector();
  EXPECT_EQ(connecting->connect(), nullptr);
  EXPECT_NE(connecting->problem().find(connecting->address()), std::string::npos);
  auto first = listen();
  EXPECT_THROW(listen(), std::system_error);
  auto early = connecting->connect();
  ASSERT_TRUE(early);
  EXPECT_EQ(early->write("x"), 1U);
  first.reset();
  listener = listen();
  run();
  EXPECT_TRUE(early->peerGone()) << "was never accepted";
  std::unique_ptr<Stream> later;
  listener->onAcceptIs([&](auto stream) {
    later = std::move(stream);
    listener.reset();  // inside its handler
  });
  const auto kept = connecting->connect();
  run();
  ASSERT_TRUE(later);
  EXPECT_FALSE(later->peerGone());
  EXPECT_EQ(connecting->connect(), nullptr);
}

/// Everything that a run over a simulated network of that seed does, as a text.
std::string faultyRun(std::uint32_t seed) {
  Kiln::TestClock clock;
  Kiln::EventLoop loop(clock);
  SimNetwork net(loop, seed);
  const auto listener = net.listener();
  std::vector<std::unique_ptr<Talker>> servers;
  listener->onAcceptIs([&](auto stream) {
    servers.push_back(std::make_unique<Talker>(std::move(stream)));
    servers.back()->goal = 200'000;
    servers.back()->talk();
  });
  std::vector<std::unique_ptr<Talker>> clients;
  for (const char* name : {"a", "b", "c"})
    clients.push_back(std::make_unique<Talker>(net.connector(name)->connect()));
  net.rate("b", 1000);
  std::string log;
  for (int step = 0; step < 8; ++step) {
    loop.advance(clock, 0.01);
    net.freeze("c", step % 2 == 0);
    if (step == 5) net.cut("a");
    for (const auto& one : clients) {
      log += std::to_string(one->heard) + (one->closed ? "x " : " ");
      EXPECT_EQ(one->wrong, 0U);
    }
  }
  return log;
}

TEST(SimNetworkTest, TheSameSeedDoesTheSame) {
  for (std::uint32_t seed = 0; seed < 20; ++seed) EXPECT_EQ(faultyRun(seed), faultyRun(seed));
  EXPECT_NE(faultyRun(1), faultyRun(2));
}

class SimFaultTest : public StreamTest {
 protected:
  void SetUp() override {
    connectBoth();
    client->goal = server->goal = 10'000;
  }
  void talk() const {
    client->talk();
    server->talk();
  }
};
INSTANTIATE_TEST_SUITE_P(Transports, SimFaultTest, testing::Values(true));

TEST_P(SimFaultTest, AFrozenClientIsSilentButThere) {
  net.freeze("it", true);
  talk();
  run();
  EXPECT_EQ(client->heard + server->heard, 0U);
  EXPECT_FALSE(server->stream->peerGone());
  net.freeze("it", false);
  run();
  EXPECT_EQ(client->heard + server->heard, 20'000U);
  EXPECT_EQ(net.bytesTo("it"), 10'000U);
}

TEST_P(SimFaultTest, ASlowClientGetsItsRate) {
  net.rate("it", 1000);
  talk();
  loop.advance(clock, 9);
  EXPECT_LT(client->heard, 9'000U);
  EXPECT_GT(client->heard, 7'000U);
  loop.advance(clock, 4);
  EXPECT_EQ(client->heard, 10'000U);
}

TEST_P(SimFaultTest, ACutLosesWhatIsOnItsWayAndNothingInBetween) {
  std::size_t lost = 0;
  for (int round = 0; round < 20; ++round) {
    talk();
    loop.advance(clock, 0.001);
    net.cutAll();
    run();
    EXPECT_TRUE(client->closed && server->closed);
    EXPECT_EQ(client->wrong + server->wrong, 0U);
    EXPECT_EQ(net.connections(), 0U);
    lost += client->goal - server->heard;
    listener.reset();
    connectBoth();
    client->goal = server->goal = 10'000;
  }
  EXPECT_GT(lost, 0U);
  EXPECT_LT(lost, 200'000U);
  net.listening(false);
  EXPECT_EQ(connector()->connect(), nullptr);
}

}  // namespace
}  // namespace Centrum
