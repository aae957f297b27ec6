#include "platform/ringtrace/RingTrace.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <pthread.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <bit>
#include <cerrno>
#include <filesystem>
#include <fstream>
#include <functional>
#include <limits>
#include <map>
#include <set>
#include <thread>

#include "platform/ringtrace/RingFileReader.h"

namespace RingTrace {
namespace {

using Messages = std::vector<Message>;
using Texts = std::vector<std::string>;
using testing::AllOf, testing::HasSubstr, testing::ThrowsMessage;

Texts textsOf(const Messages& messages) {
  Texts texts;
  for (const Message& message : messages) texts.push_back(message.text);
  return texts;
}

std::string bytesOf(const std::string& path) {
  std::ifstream in(path, std::ios::binary);
  return {std::istreambuf_iterator<char>(in), {}};
}
void putBytes(const std::string& path, std::string_view bytes) {
  std::ofstream(path, std::ios::binary) << bytes;
}

/// A filling for checked messages, of a length of its own for each number.
const std::string letters(180, 'a');
std::string_view fillingOf(int number) {
  return std::string_view(letters).substr(static_cast<std::size_t>(number) % letters.size());
}

/// A message whose text tells its own length and content, so that a mixture of two is noticed.
/// Signal handlers may call it.
void recordChecked(int number) { record(number, ' ', gettid(), fillingOf(number), number); }

/// Expects the text of a recordChecked() message and returns its number.
int checked(const Message& message) {
  const int number = std::atoi(message.text.c_str());
  const std::string digits = std::to_string(number), filling(fillingOf(number));
  EXPECT_EQ(message.text, digits + ' ' + std::to_string(message.thread) + filling + digits);
  return number;
}

class RingTraceTest : public testing::Test {
 protected:
  RingTraceTest() { std::filesystem::create_directory(directory_); }
  ~RingTraceTest() override { std::filesystem::remove_all(directory_); }

  std::string path(const std::string& name = "ring") const { return directory_ + "/" + name; }

  /// Starts a process that does `act`, and after that records until it is killed.
  pid_t startRecorder(const std::function<void()>& act) {
    const pid_t child = fork();
    if (child == 0) {
      act();
      raise(SIGSTOP);  // tells the parent
      for (int i = 0;; ++i) recordChecked(i);
    }
    EXPECT_EQ(waitpid(child, nullptr, WUNTRACED), child);
    kill(child, SIGCONT);
    return child;
  }
  void killAndWait(pid_t child) {
    kill(child, SIGKILL);
    EXPECT_EQ(waitpid(child, nullptr, 0), child);
  }

 private:
  std::string directory_ = testing::TempDir() + "RingTraceTest." + std::to_string(getpid());
};

TEST_F(RingTraceTest, PiecesAreJoinedInOrderAndLongMessagesCut) {
  const auto recorded = [](const auto&... pieces) {
    errno = 4711;
    record(pieces...);
    EXPECT_EQ(errno, 4711);
    return messages().back().text;
  };
  EXPECT_EQ(recorded("from ", std::string("bgp"), ' ', 100, '/', -2, true, false, ""),
            "from bgp 100/-2truefalse");
  EXPECT_EQ(recorded(std::numeric_limits<std::int64_t>::min(), std::uint8_t{200},
                     std::numeric_limits<std::uint64_t>::max(), std::string_view("a\0b", 3)),
            std::string("-922337203685477580820018446744073709551615a\0b", 46));
  EXPECT_EQ(recorded(static_cast<const char*>(nullptr)), "(null)");
  EXPECT_EQ(recorded(), "");
  const std::string fits(222, 'x'), fitsWithNumber(213, 'x');
  EXPECT_EQ(recorded(fits), fits);
  EXPECT_EQ(recorded(fits + 'y', "more", 1), fits + " [cut]");
  EXPECT_EQ(recorded(std::string(10'000, 'x'), true), fits + " [cut]");
  EXPECT_EQ(recorded(fitsWithNumber, 1), fitsWithNumber + "1");
  EXPECT_EQ(recorded(fitsWithNumber + 'x', 1, "z"), fitsWithNumber + "x [cut]");
}

TEST_F(RingTraceTest, NewestMessagesStayAndGoOverToTheNextFile) {
  Texts expected;
  for (const std::size_t slots : {8U, 64U, 9U, 128U}) {  // 9 is rounded up to 16
    const std::string file = path(std::to_string(slots));
    fileIs(file, slots);
    for (int i = 0; i < 40; ++i) {
      record("message ", i);
      expected.push_back("message " + std::to_string(i));
      const std::size_t size = std::min(expected.size(), std::bit_ceil(slots));
      expected.erase(expected.begin(), expected.end() - static_cast<std::ptrdiff_t>(size));
      if (size < 8) continue;  // messages of other tests are still there
      const Messages found = messages();
      ASSERT_EQ(textsOf(found), expected);
      ASSERT_EQ(readFile(file), found);
      EXPECT_EQ(found.back().sequence, found.front().sequence + size - 1);
      EXPECT_TRUE(std::ranges::is_sorted(found, {}, &Message::timeNs));
    }
    EXPECT_LE(readFileInfo(file).startMonotonicNs, messages().back().timeNs);
  }
}

/// Four threads, a signal handler that interrupts them, and a reader meet in few slots.
TEST_F(RingTraceTest, ThreadsAndSignalHandlersNeverMixTheirMessages) {
  fileIs(path(), 8);
  for (int i = 0; i < 8; ++i) recordChecked(i);
  struct sigaction ours {
  }, former{};
  ours.sa_handler = [](int) { recordChecked(-1); };
  sigaction(SIGUSR1, &ours, &former);
  const auto check = [](const Messages& found) {
    EXPECT_TRUE(std::ranges::is_sorted(found, std::less_equal{}, &Message::sequence));
    std::map<std::uint32_t, int> newest;
    for (const Message& message : found) {
      const int number = checked(message);
      if (number < 0) continue;
      const auto [at, first] = newest.emplace(message.thread, number);
      EXPECT_TRUE(first || std::exchange(at->second, number) < number) << message.text;
    }
  };
  std::atomic<int> running = 4;
  std::vector<std::thread> writers;
  for (int t = running; t > 0; --t)
    writers.emplace_back([&running] {
      for (int i = 0; i < 20'000; ++i) recordChecked(i);
      --running;
    });
  while (running > 0 && !HasFailure()) {
    for (std::thread& writer : writers) pthread_kill(writer.native_handle(), SIGUSR1);
    check(messages());
    check(readFile(path()));
  }
  for (std::thread& writer : writers) writer.join();
  sigaction(SIGUSR1, &former, nullptr);
  check(messages());
  EXPECT_FALSE(messages().empty());
}

TEST_F(RingTraceTest, NothingIsLostWhileTheRingIsReplaced) {
  fileIs(path());  // holds all of a round, as those after it
  for (int round = 0; round < 20; ++round) {
    const std::string ours = "round " + std::to_string(round) + " ";
    std::vector<std::thread> writers;
    for (int t = 0; t < 4; ++t)
      writers.emplace_back([t, &ours] {
        for (int i = 0; i < 200; ++i) record(ours, t, " ", i);
      });
    for (const char* name : {"a", "b", "c", "d"}) fileIs(path(name + std::to_string(round)));
    for (std::thread& writer : writers) writer.join();
    const Texts texts = textsOf(messages());
    const auto isOurs = [&ours](const std::string& text) { return text.starts_with(ours); };
    EXPECT_EQ(std::ranges::count_if(texts, isOurs), 800);
    EXPECT_EQ(std::set(texts.begin(), texts.end()).size(), texts.size()) << "recorded twice";
  }
}

TEST_F(RingTraceTest, FileIsHeldWhileItsProcessLivesAndSurvivesItsKill) {
  const auto refusedFor = [](pid_t holder) {
    return ThrowsMessage<std::system_error>(
        HasSubstr("ring: in use by process " + std::to_string(holder)));
  };
  const pid_t child = startRecorder([this] {
    fileIs(path(), 64);
    for (int i = 0; i < 64; ++i) recordChecked(i);
  });
  EXPECT_THAT([this] { fileIs(path()); }, refusedFor(child));
  killAndWait(child);
  const Messages found = readFile(path());
  ASSERT_GE(found.size(), 63U);  // the kill may have hit one while it was written
  for (const Message& message : found) {
    checked(message);
    EXPECT_EQ(message.thread, static_cast<std::uint32_t>(child));
  }
  EXPECT_LE(found.back().sequence - found.front().sequence, 64U);
  EXPECT_EQ(readFileInfo(path()).processId, static_cast<std::uint64_t>(child));
  EXPECT_FALSE(std::filesystem::exists(path("ring.previous")));
  fileIs(path());
  EXPECT_EQ(readFile(path("ring.previous")), found);
  EXPECT_EQ(readFile(path()), messages());
  EXPECT_THAT([this] { fileIs(path()); }, refusedFor(getpid()));
}

TEST_F(RingTraceTest, ForkedChildLeavesTheFileToItsParent) {
  fileIs(path(), 8);
  record("parent");
  const pid_t child = startRecorder([] { record("child"); });
  EXPECT_EQ(textsOf(readFile(path())).back(), "parent");
  fileIs(path("other"), 8);  // gives up the first, which the child must not hold
  EXPECT_NO_THROW(fileIs(path(), 8));
  killAndWait(child);
}

TEST_F(RingTraceTest, RefusedFilesAreNamedAndLeftAlone) {
  fileIs(path("version"), 8);
  std::string other = bytesOf(path("version"));
  other[8] = 2;
  putBytes(path("version"), other);
  putBytes(path("notes"), "somebody's notes");
  std::filesystem::create_directory(path("folder"));
  record("still here");
  constexpr std::size_t read = 0;  // instead of writing with so many slots
  const std::tuple<const char*, std::size_t, const char*> cases[] = {
      {"notes", 8, "is not a ring file"},
      {"folder", 8, "is not a ring file"},
      {"none/ring", 8, "No such file or directory"},
      {"ring", 7, "7 slots"},
      {"ring", 65537, "65537 slots"},
      {"none", read, ": No such file or directory"},
      {"folder", read, ": not a regular file"},
      {"notes", read, ": not a ring file: 16 bytes, its header has 256"},
      {"version", read, ": layout version 2, expected 1"}};
  for (const auto& [name, slots, reason] : cases) {
    const auto use = [&, file = path(name), slots = slots] {
      if (slots == read) readFile(file);
      else fileIs(file, slots);
    };
    EXPECT_THAT(use,
                ThrowsMessage<std::runtime_error>(AllOf(HasSubstr(path(name)), HasSubstr(reason))));
  }
  EXPECT_EQ(bytesOf(path("notes")), "somebody's notes");
  EXPECT_EQ(messages().back().text, "still here");
  EXPECT_EQ(std::distance(std::filesystem::directory_iterator(path("")), {}), 3) << "left-overs";
}

TEST_F(RingTraceTest, DamageNeverChangesAMessage) {
  fileIs(path(), 8);
  for (int i = 0; i < 8; ++i) record("number ", i, " of ", 8U, i % 2 == 0, std::string(200, 'z'));
  const std::string bytes = bytesOf(path());
  const Messages whole = messagesFromBytes(bytes);
  ASSERT_EQ(whole.size(), 8U);
  const auto isWhole = [&whole](std::string_view damaged) {
    Messages found;
    try {
      found = messagesFromBytes(damaged);
    } catch (const FileError&) {
    }
    EXPECT_TRUE(std::ranges::is_sorted(found, std::less_equal{}, &Message::sequence));
    for (const Message& message : found) EXPECT_EQ(std::ranges::count(whole, message), 1);
    return found.size() == whole.size();
  };
  for (std::size_t size = 0; size < bytes.size(); ++size)
    EXPECT_FALSE(isWhole(std::string_view(bytes).substr(0, size))) << size;
  for (std::size_t at = 0; at < bytes.size(); ++at)
    for (const int flip : {0x01, 0x80, 0xff}) {
      std::string damaged = bytes;
      damaged[at] = static_cast<char>(damaged[at] ^ flip);
      // These messages fill their slots: only in the header a change may have no effect.
      EXPECT_FALSE(isWhole(damaged) && at >= 256) << at << " " << flip;
    }
}

}  // namespace
}  // namespace RingTrace
