#include "platform/ringtrace/RingTrace.h"

#include <gtest/gtest.h>
#include <pthread.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <cerrno>
#include <filesystem>
#include <fstream>
#include <functional>
#include <limits>
#include <map>
#include <optional>
#include <set>
#include <sstream>
#include <string>
#include <thread>
#include <tuple>
#include <utility>
#include <vector>

#include "platform/ringtrace/RingFileReader.h"

namespace RingTrace {
namespace {

const std::vector<Message> beforeMain = [] {
  record("before ", "main");
  return messages();
}();

std::vector<std::string> textsOf(const std::vector<Message>& messages) {
  std::vector<std::string> texts;
  for (const Message& message : messages) texts.push_back(message.text);
  return texts;
}

/// The text of a failure of `act`; empty when it raised nothing.
std::string errorOf(const std::function<void()>& act) {
  try {
    act();
  } catch (const std::exception& error) {
    return error.what();
  }
  return {};
}

std::string bytesOf(const std::string& path) {
  std::ifstream in(path, std::ios::binary);
  return {std::istreambuf_iterator<char>(in), {}};
}

void putBytes(const std::string& path, std::string_view bytes) {
  std::ofstream(path, std::ios::binary) << bytes;
}

/// A filling for checked messages, of a length of its own for each number.
std::string_view fillingOf(int number) {
  static constexpr auto letters = [] {
    std::array<char, 180> all{};
    all.fill('a');
    return all;
  }();
  return {letters.data(), static_cast<std::size_t>(number) % letters.size()};
}

/// A message whose text tells its own length and content, so that a mixture of two is noticed.
/// Signal handlers may call it.
void recordChecked(int thread, int number) {
  record(thread, ' ', number, ' ', fillingOf(number), thread, number);
}

/// Thread and number of a recordChecked() message; none for any other text.
std::optional<std::pair<int, int>> checked(const std::string& text) {
  std::istringstream in(text);
  int thread = 0;
  int number = 0;
  std::string rest;
  if (!(in >> thread >> number >> rest)) return std::nullopt;
  const std::string expected =
      std::string(fillingOf(number)) + std::to_string(thread) + std::to_string(number);
  if (rest != expected) return std::nullopt;
  return std::pair(thread, number);
}

class RingTraceTest : public testing::Test {
 protected:
  RingTraceTest() { std::filesystem::create_directory(directory_); }
  ~RingTraceTest() override { std::filesystem::remove_all(directory_); }

  std::string path(const std::string& name = "ring") const { return directory_ + "/" + name; }

  /// Starts a process that does `act`, with a pipe to say so, and then records until it is killed.
  pid_t startRecorder(const std::function<void()>& act) {
    int ends[2];
    EXPECT_EQ(pipe(ends), 0);
    const pid_t child = fork();
    if (child == 0) {
      act();
      EXPECT_EQ(write(ends[1], "x", 1), 1);
      for (int i = 0;; ++i) recordChecked(0, i);
    }
    char byte = 0;
    EXPECT_EQ(read(ends[0], &byte, 1), 1);
    close(ends[0]);
    close(ends[1]);
    return child;
  }
  void killAndWait(pid_t child) {
    kill(child, SIGKILL);
    ASSERT_EQ(waitpid(child, nullptr, 0), child);
  }

 private:
  std::string directory_ = testing::TempDir() + "RingTraceTest." + std::to_string(getpid());
};

TEST_F(RingTraceTest, PiecesAreJoinedInOrder) {
  const std::string source = "bgp";
  const char* null = nullptr;
  const std::uint8_t octet = 200;
  fileIs(path());
  errno = 4711;
  record("expected ", 100, "/", -2, " from ", source, ' ', true, false, "");
  record(std::numeric_limits<std::int64_t>::min(), std::numeric_limits<std::uint64_t>::max(), octet,
         null, std::string_view("a\0b", 3));
  record();
  EXPECT_EQ(errno, 4711);
  const auto found = messages();
  ASSERT_GE(found.size(), 3U);
  const Message* last = &found[found.size() - 3];
  EXPECT_EQ(last[0].text, "expected 100/-2 from bgp truefalse");
  EXPECT_EQ(last[1].text, std::string("-922337203685477580818446744073709551615200(null)a\0b", 52));
  EXPECT_EQ(last[2].text, "");
  EXPECT_EQ(last[1].sequence, last[0].sequence + 1);
  EXPECT_LE(last[0].timeNs, last[1].timeNs);
  EXPECT_EQ(last[0].thread, static_cast<std::uint32_t>(gettid()));
}

TEST_F(RingTraceTest, RecordsBeforeMain) {
  ASSERT_EQ(beforeMain.size(), 1U);
  EXPECT_EQ(beforeMain[0].text, "before main");
  EXPECT_EQ(beforeMain[0].sequence, 0U);
}

TEST_F(RingTraceTest, LongMessagesAreCutAndSaySo) {
  const auto recorded = [](const auto&... pieces) {
    record(pieces...);
    return messages().back().text;
  };
  const std::string fits(222, 'x');
  EXPECT_EQ(recorded(fits), fits);
  EXPECT_EQ(recorded(fits + 'y', "more", 1), fits + " [cut]");
  EXPECT_EQ(recorded(std::string(10'000, 'x'), true), fits + " [cut]");
  const std::string most(213, 'x');
  EXPECT_EQ(recorded(most, 1), most + "1");
  EXPECT_EQ(recorded(most + 'x', 1, "z"), most + "x [cut]");
}

TEST_F(RingTraceTest, NewestMessagesStayWhenTheRingWraps) {
  fileIs(path(), 9);  // rounded up to 16
  std::vector<std::string> expected;
  for (int i = 0; i < 40; ++i) {
    record("message ", i);
    expected.push_back("message " + std::to_string(i));
    if (expected.size() > 16) expected.erase(expected.begin());
    if (i < 15) continue;
    EXPECT_EQ(textsOf(messages()), expected);
    EXPECT_EQ(readFile(path()), messages());
  }
}

TEST_F(RingTraceTest, FileTakesOverWhatWasRecorded) {
  fileIs(path("first"), 64);
  for (int i = 0; i < 20; ++i) record("early ", i);
  const auto before = messages();
  fileIs(path("large"), 128);
  EXPECT_EQ(readFile(path("large")), before);
  record("late");
  EXPECT_EQ(readFile(path("large")).back().text, "late");
  EXPECT_EQ(readFile(path("first")), before);
  fileIs(path("small"), 8);
  EXPECT_EQ(readFile(path("small")).size(), 8U);
  EXPECT_EQ(readFile(path("small")).back().text, "late");
  const FileInfo info = readFileInfo(path("small"));
  EXPECT_EQ(info.processId, static_cast<std::uint64_t>(getpid()));
  EXPECT_EQ(info.slotCount, 8U);
  EXPECT_GE(info.startMonotonicNs, before.back().timeNs);
}

TEST_F(RingTraceTest, ThreadsNeverMixTheirMessages) {
  constexpr int threads = 4;
  constexpr int each = 20'000;
  fileIs(path(), 8);  // so that writers meet in slots
  std::atomic<int> running = threads;
  std::vector<std::thread> writers;
  for (int t = 0; t < threads; ++t) {
    writers.emplace_back([t, &running] {
      for (int i = 0; i < each; ++i) recordChecked(t, i);
      --running;
    });
  }
  std::size_t seen = 0;
  const auto check = [&seen](const std::vector<Message>& found) {
    std::map<int, int> newest;
    std::set<std::uint64_t> sequences;
    for (const Message& message : found) {
      const auto one = checked(message.text);
      if (!one && seen == 0) continue;  // of an earlier test
      ASSERT_TRUE(one) << message.text;
      const auto [at, first] = newest.emplace(*one);
      ASSERT_TRUE(first || at->second < one->second) << message.text;
      at->second = one->second;
      ASSERT_TRUE(sequences.insert(message.sequence).second);
      ++seen;
    }
  };
  while (running > 0) {
    check(messages());
    check(readFile(path()));
  }
  for (std::thread& writer : writers) writer.join();
  check(messages());
  EXPECT_GT(seen, 0U);
}

TEST_F(RingTraceTest, NothingIsLostWhileTheRingIsReplaced) {
  constexpr int threads = 4;
  constexpr int each = 200;
  fileIs(path("first"));  // holds all of a round, as those after it
  for (int round = 0; round < 20; ++round) {
    std::vector<std::thread> writers;
    for (int t = 0; t < threads; ++t) {
      writers.emplace_back([t, round] {
        for (int i = 0; i < each; ++i) record("round ", round, " ", t, " ", i);
      });
    }
    for (const char* name : {"a", "b", "c", "d"}) fileIs(path(name + std::to_string(round)));
    for (std::thread& writer : writers) writer.join();
    const auto texts = textsOf(messages());
    const auto isOurs = [round](const std::string& text) {
      return text.starts_with("round " + std::to_string(round) + " ");
    };
    EXPECT_EQ(std::ranges::count_if(texts, isOurs), threads * each);
    EXPECT_EQ(std::set(texts.begin(), texts.end()).size(), texts.size()) << "recorded twice";
  }
}

TEST_F(RingTraceTest, SignalHandlerMayInterruptARecord) {
  fileIs(path(), 8);
  for (int i = 0; i < 8; ++i) recordChecked(0, i);
  struct sigaction ours {};
  struct sigaction former {};
  ours.sa_handler = [](int) { recordChecked(1, 77); };
  sigaction(SIGUSR1, &ours, &former);
  std::atomic<bool> done = false;
  std::jthread sender([&done, to = pthread_self()] {
    for (int i = 0; i < 3000; ++i) pthread_kill(to, SIGUSR1);
    done = true;
  });
  for (int i = 0; !done; ++i) {
    recordChecked(0, i);
    for (const Message& message : messages()) ASSERT_TRUE(checked(message.text)) << message.text;
  }
  sender.join();
  sigaction(SIGUSR1, &former, nullptr);
}

TEST_F(RingTraceTest, FileSurvivesTheKilledProcess) {
  const pid_t child = startRecorder([this] {
    fileIs(path(), 64);
    for (int i = 0; i < 64; ++i) recordChecked(0, i);
  });
  killAndWait(child);
  const auto found = readFile(path());
  ASSERT_GE(found.size(), 63U);  // the kill may have hit one while it was written
  for (const Message& message : found) {
    EXPECT_TRUE(checked(message.text)) << message.text;
    EXPECT_EQ(message.thread, static_cast<std::uint32_t>(child));
  }
  EXPECT_LE(found.back().sequence - found.front().sequence, 64U);
  EXPECT_EQ(readFileInfo(path()).processId, static_cast<std::uint64_t>(child));

  fileIs(path());
  EXPECT_EQ(readFile(path() + ".previous"), found);
  EXPECT_EQ(readFile(path()), messages());
}

TEST_F(RingTraceTest, SecondProcessIsRefused) {
  const pid_t child = startRecorder([this] { fileIs(path(), 8); });
  const std::string error = errorOf([this] { fileIs(path()); });
  EXPECT_NE(error.find(path() + ": in use by process " + std::to_string(child)), std::string::npos)
      << error;
  EXPECT_FALSE(std::filesystem::exists(path() + ".previous"));
  killAndWait(child);
  fileIs(path());
  EXPECT_NE(errorOf([this] { fileIs(path()); }).find(std::to_string(getpid())), std::string::npos);
}

TEST_F(RingTraceTest, ForkedChildLeavesTheFileToItsParent) {
  fileIs(path(), 8);
  record("parent");
  const pid_t child = startRecorder([] { record("child"); });
  EXPECT_EQ(textsOf(readFile(path())).back(), "parent");
  fileIs(path("other"), 8);  // gives up the first, which the child must not hold
  EXPECT_EQ(errorOf([this] { fileIs(path(), 8); }), "");
  killAndWait(child);
}

TEST_F(RingTraceTest, RefusedFilesAreNamedAndLeftAlone) {
  putBytes(path("notes"), "somebody's notes");
  std::filesystem::create_directory(path("folder"));
  record("still here");
  const std::vector<std::tuple<std::string, std::size_t, std::string>> cases{
      {path("notes"), 8, "is not a ring file"},
      {path("folder"), 8, "is not a ring file"},
      {path("none/ring"), 8, "No such file or directory"},
      {path(), 7, "7 slots"},
      {path(), 65537, "65537 slots"}};
  for (const auto& [name, slots, reason] : cases) {
    const std::string error = errorOf([&, name = name, slots = slots] { fileIs(name, slots); });
    EXPECT_NE(error.find(name), std::string::npos) << error;
    EXPECT_NE(error.find(reason), std::string::npos) << error;
  }
  EXPECT_EQ(bytesOf(path("notes")), "somebody's notes");
  EXPECT_EQ(messages().back().text, "still here");
  EXPECT_EQ(std::distance(std::filesystem::directory_iterator(path("")), {}), 2) << "left-overs";
}

TEST_F(RingTraceTest, ReaderNamesPathAndReason) {
  fileIs(path(), 8);
  std::string other = bytesOf(path());
  putBytes(path("short"), other.substr(0, 100));
  other[8] = 2;
  putBytes(path("version"), other);
  putBytes(path("text"), std::string(1000, 'x'));
  const std::map<std::string, std::string> cases{
      {"none", "No such file or directory"},
      {"", "not a regular file"},
      {"short", "not a ring file: 100 bytes, its header has 256"},
      {"version", "layout version 2, expected 1"},
      {"text", "not a ring file"}};
  for (const auto& [name, reason] : cases)
    EXPECT_EQ(errorOf([&, name = name] { readFile(path(name)); }), path(name) + ": " + reason);
}

/// Expects that `bytes` give some of `whole`, unchanged, or a FileError. True when all.
bool expectSubset(std::string_view bytes, const std::vector<Message>& whole) {
  try {
    const auto found = messagesFromBytes(bytes);
    EXPECT_TRUE(std::ranges::includes(whole, found, {}, &Message::sequence, &Message::sequence));
    for (const Message& message : found) EXPECT_EQ(std::ranges::count(whole, message), 1);
    return found.size() == whole.size();
  } catch (const FileError&) {
    return false;
  }
}

TEST_F(RingTraceTest, DamageNeverChangesAMessage) {
  fileIs(path(), 8);
  for (int i = 0; i < 8; ++i) record("number ", i, " of ", 8U, i % 2 == 0, std::string(200, 'z'));
  const std::string bytes = bytesOf(path());
  const auto whole = messagesFromBytes(bytes);
  ASSERT_EQ(whole.size(), 8U);
  for (std::size_t size = 0; size < bytes.size(); ++size)
    EXPECT_FALSE(expectSubset(std::string_view(bytes).substr(0, size), whole)) << size;
  for (std::size_t at = 0; at < bytes.size(); ++at) {
    for (const int flip : {0x01, 0x80, 0xff}) {
      std::string damaged = bytes;
      damaged[at] = static_cast<char>(damaged[at] ^ flip);
      // These messages fill their slots: only in the header a change may have no effect.
      EXPECT_FALSE(expectSubset(damaged, whole) && at >= 256) << at << " " << flip;
    }
  }
}

}  // namespace
}  // namespace RingTrace
