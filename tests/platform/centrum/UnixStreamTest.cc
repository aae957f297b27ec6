#include "platform/centrum/UnixStream.h"

#include <fcntl.h>
#include <gmock/gmock.h>
#include <sys/resource.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <system_error>
#include <vector>

#include "tests/support/Checks.h"

namespace Centrum {
namespace {

using testing::HasSubstr;

class UnixStreamTest : public testing::Test {
 protected:
  static std::string newFolder() {
    std::string name = "/tmp/unix-stream-test-XXXXXX";
    EXPECT_NE(::mkdtemp(name.data()), nullptr);
    return name;
  }
  ~UnixStreamTest() override {
    listener.reset();
    std::filesystem::remove_all(folder);
  }
  std::unique_ptr<Listener> listen(mode_t mode = 0600) {
    auto made = unixListenerFactory(loop, path, mode);
    made->onAcceptIs([this](auto stream) { accepted.push_back(std::move(stream)); });
    return made;
  }
  struct stat file() const {
    struct stat there {};
    EXPECT_EQ(::stat(path.c_str(), &there), 0);
    return there;
  }
  /// What listening raises.
  std::string refusal(const std::string& where) {
    return Checks::raised<std::system_error>([&] { unixListenerFactory(loop, where, 0600); });
  }
  /// Leaves a socket behind at the path, as a server does that is killed.
  void leaveStale() {
    const pid_t child = ::fork();
    if (child == 0) {
      new std::unique_ptr<Listener>(listen());
      ::_exit(0);
    }
    ::waitpid(child, nullptr, 0);
    EXPECT_TRUE(S_ISSOCK(file().st_mode));
  }

  Kiln::TestClock clock;
  Kiln::EventLoop loop{clock};
  const std::string folder = newFolder();
  const std::string path = folder + "/socket";
  std::unique_ptr<Listener> listener;
  std::vector<std::unique_ptr<Stream>> accepted;
};

TEST_F(UnixStreamTest, ASocketLeftBehindIsReplacedAndALiveOneIsNot) {
  leaveStale();
  const auto connector = unixConnectorFactory(loop, path);
  EXPECT_EQ(connector->connect(), nullptr);
  EXPECT_EQ(connector->problem(), "connect to " + path + ": Connection refused");
  listener = listen();
  EXPECT_TRUE(connector->connect());
  EXPECT_THAT(refusal(path), HasSubstr(path + ".lock is held by a server: Address already in use"));
  std::filesystem::remove(path + ".lock");
  EXPECT_THAT(refusal(path), HasSubstr(path + " is served by another: Address already in use"));
  EXPECT_TRUE(connector->connect()) << "survives those who tried";
  listener.reset();
  EXPECT_TRUE(std::filesystem::is_empty(folder));
  EXPECT_EQ(connector->connect(), nullptr);
  EXPECT_EQ(connector->problem(), "connect to " + path + ": No such file or directory");
}

TEST_F(UnixStreamTest, WhatIsInTheWayIsLeftAndNamed) {
  std::ofstream(path) << "precious";
  EXPECT_THAT(refusal(path), HasSubstr(path + " is not a socket: Address already in use"));
  EXPECT_EQ(std::filesystem::file_size(path), 8U);
  EXPECT_THAT(refusal(folder + "/none/s"), HasSubstr(folder + "/none/s"));
  const std::string longest = folder + "/" + std::string(106 - folder.size(), 'x');
  EXPECT_EQ(refusal(longest), "nothing");
  EXPECT_THAT(refusal(longest + 'x'), HasSubstr("has 108 bytes, of which 107 are allowed"));
  EXPECT_THROW(unixConnectorFactory(loop, longest + 'x'), std::system_error);
  EXPECT_THROW(unixConnectorFactory(loop, ""), std::system_error);
}

TEST_F(UnixStreamTest, ModeGroupAndPeerDecideWhoMayWrite) {
  const mode_t before = ::umask(0077);
  listener = listen(0664);
  ::umask(before);
  EXPECT_EQ(file().st_mode & 0777U, 0664U);
  const uid_t other = ::geteuid() + 1;
  const gid_t group = file().st_gid;
  EXPECT_TRUE(listener->mayWrite({1, 0, group + 1, {}}));
  EXPECT_TRUE(listener->mayWrite({1, ::geteuid(), group + 1, {}}));
  EXPECT_TRUE(listener->mayWrite({1, other, group, {}}));
  EXPECT_TRUE(listener->mayWrite({1, other, group + 1, {group + 2, group}}));
  EXPECT_FALSE(listener->mayWrite({1, other, group + 1, {group + 2}}));
  EXPECT_THAT(
      listener->neededRight(),
      testing::MatchesRegex("group .*gid " + std::to_string(group) + ".* of the socket " + path));
  if (::geteuid() == 0) {
    EXPECT_EQ(::chown(path.c_str(), 0, 54321), 0);
    EXPECT_TRUE(listener->mayWrite({1, other, 54321, {}})) << "an administrator decides";
    EXPECT_EQ(listener->neededRight(), "group gid 54321 of the socket " + path);
  }

  const auto client = unixConnectorFactory(loop, path)->connect();
  loop.runUntilIdle();
  std::vector<gid_t> groups(static_cast<std::size_t>(::getgroups(0, nullptr)));
  EXPECT_EQ(::getgroups(static_cast<int>(groups.size()), groups.data()), groups.size());
  for (const Peer& peer : {client->peer(), accepted.at(0)->peer()}) {
    EXPECT_EQ(peer.pid, ::getpid());
    EXPECT_EQ(peer.uid, ::geteuid());
    EXPECT_EQ(peer.gid, ::getegid());
    EXPECT_THAT(peer.groups, testing::UnorderedElementsAreArray(groups));
  }
}

/// No descriptor is left for the process while this lives.
struct NoDescriptors {
  NoDescriptors() {
    EXPECT_EQ(::getrlimit(RLIMIT_NOFILE, &before), 0);
    const int next = ::dup(0);
    ::close(next);
    rlimit few = before;
    few.rlim_cur = static_cast<rlim_t>(next);
    EXPECT_EQ(::setrlimit(RLIMIT_NOFILE, &few), 0);
  }
  ~NoDescriptors() { ::setrlimit(RLIMIT_NOFILE, &before); }
  NoDescriptors(const NoDescriptors&) = delete;
  NoDescriptors& operator=(const NoDescriptors&) = delete;
  rlimit before{};
};

TEST_F(UnixStreamTest, WithoutDescriptorsConnectionsWaitAndTheLoopRests) {
  listener = listen();
  const auto connector = unixConnectorFactory(loop, path);
  // Once with descriptors: a sanitizer takes one when it first meets a class.
  EXPECT_NE(connector->connect(), nullptr);
  EXPECT_EQ(unixConnectorFactory(loop, path + "?")->connect(), nullptr);
  EXPECT_TRUE(loop.runUntil([&] { return !accepted.empty(); }, 5));
  accepted.clear();
  Kiln::Timer warm(loop.timers(), [] {});
  warm.scheduleAfter(0);
  loop.runUntilIdle();
  const auto first = connector->connect();
  const auto second = connector->connect();
  std::unique_ptr<Stream> refused;
  {
    const NoDescriptors none;
    loop.runUntilIdle(10);
    loop.advance(clock, 1);
    refused = connector->connect();
  }
  EXPECT_TRUE(accepted.empty());
  EXPECT_EQ(refused, nullptr);
  EXPECT_THAT(connector->problem(), HasSubstr("Too many open files"));
  loop.advance(clock, 0.2);
  EXPECT_EQ(accepted.size(), 2U);
  const auto third = connector->connect();
  {
    const NoDescriptors none;
    loop.runUntilIdle(10);
    listener.reset();  // while it rests
  }
  EXPECT_EQ(loop.timers().size(), 0U);
  EXPECT_EQ(loop.handlerExceptions(), 0U);
}

TEST_F(UnixStreamTest, WritingToAKilledPeerHarmsNobodyAndOnlyTheEndIsRead) {
  listener = listen();
  const pid_t child = ::fork();
  if (child == 0) {
    Kiln::EventLoop own;
    const auto stream = unixConnectorFactory(own, path)->connect();
    stream->write("last words");
    ::raise(SIGKILL);
  }
  ::waitpid(child, nullptr, 0);
  loop.runUntilIdle();
  ASSERT_EQ(accepted.size(), 1U);
  Stream& stream = *accepted.front();
  EXPECT_EQ(stream.peer().pid, child);
  EXPECT_TRUE(stream.peerGone());
  EXPECT_EQ(stream.write("lost"), 4U);
  std::string heard;
  bool closed = false;
  stream.onReadableIs([&] {
    char room[4];
    const auto got = stream.read(room, sizeof room);
    heard.append(room, got.count);
    closed = got.closed;
  });
  loop.runUntilIdle(20);  // fails when it is called for ever
  EXPECT_EQ(heard, "last words");
  EXPECT_TRUE(closed);
}

}  // namespace
}  // namespace Centrum
