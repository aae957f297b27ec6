#include <fcntl.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/mman.h>
#include <sys/resource.h>
#include <unistd.h>

#include <array>
#include <random>
#include <thread>
#include <utility>
#include <vector>

#include "platform/tarn/DirectoryStorage.h"
#include "tests/platform/tarn/Folder.h"

namespace Tarn {
namespace {

class BusErrorsTest : public testing::Test {
 protected:
  enum class Cause { tableFile, otherFile, sent };

  void bring(Cause cause) {
    const auto storage = directoryStorageFactory(folder.path, {});
    const Mapping mapping = storage->create("f", 8192, filledWith("whole"));
    const int fd = ::open((folder / "f").c_str(), O_RDWR);
    void* other = ::mmap(nullptr, 4096, PROT_READ, MAP_SHARED, fd, 0);
    EXPECT_EQ(::ftruncate(fd, 0), 0);
    ::close(fd);
    if (cause == Cause::sent) static_cast<void>(::raise(SIGBUS));
    else
      EXPECT_EQ(*static_cast<volatile char*>(cause == Cause::otherFile ? other : mapping.data()),
                0);
  }
  /// What a process that had the action `former` exits with; less than 0: the signal that kills it.
  int outcome(Cause cause, struct sigaction former, bool handled = true) {
    return exitOf([&] {
      constexpr rlimit none{};
      ::setrlimit(RLIMIT_CORE, &none);
      ::sigaction(SIGBUS, &former, nullptr);
      for (int i = 0; handled && i < 2; ++i) busErrorsAreHandled();
      bring(cause);
      return testing::Test::HasFailure() ? 1 : 0;
    });
  }
  static struct sigaction plain(sighandler_t handler) {
    struct sigaction action {};
    action.sa_handler = handler;
    return action;
  }
  const Folder folder;
};

TEST_F(BusErrorsTest, OnlyThoseOfTablesAreCured) {
  const auto byDefault = plain(SIG_DFL);
  EXPECT_EQ(outcome(Cause::tableFile, byDefault, false), -SIGBUS);
  EXPECT_EQ(outcome(Cause::tableFile, byDefault), 0);
  EXPECT_EQ(outcome(Cause::otherFile, byDefault), -SIGBUS);
  EXPECT_EQ(outcome(Cause::sent, byDefault), -SIGBUS);
  EXPECT_EQ(outcome(Cause::otherFile, plain(SIG_IGN)), -SIGBUS);
  EXPECT_EQ(outcome(Cause::sent, plain(SIG_IGN)), 0);
  auto former = plain([](int number) { ::_exit(number == SIGBUS ? 7 : 1); });
  EXPECT_EQ(outcome(Cause::tableFile, former), 0);
  EXPECT_EQ(outcome(Cause::otherFile, former), 7);
  former.sa_flags = SA_SIGINFO;
  former.sa_sigaction = [](int, siginfo_t* info, void* context) {
    ::_exit(info->si_code == BUS_ADRERR && context != nullptr ? 8 : 9);
  };
  EXPECT_EQ(outcome(Cause::otherFile, former), 8);
  EXPECT_EQ(outcome(Cause::sent, former), 9);
}

/// Makes files, cuts some of them short and looks at all, again and again.
void cutAndLook(const std::string& path, unsigned seed) {
  const auto storage = directoryStorageFactory(path, {});
  std::mt19937 random(seed);
  struct File {
    Mapping mapping;
    bool cut;
  };
  std::vector<File> files;
  for (int step = 0; step < 400; ++step) {
    if (random() % 4 == 0 && !files.empty()) {
      std::swap(files[random() % files.size()], files.back());
      files.pop_back();
    }
    storage->create("f", 9000, filledWith("whole"));
    const Access access = random() % 2 == 0 ? Access::read : Access::write;
    files.push_back({storage->open("f", access).mapping, random() % 3 == 0});
    if (files.back().cut) fs::resize_file(path + "/f", 0);
    const File& file = files[random() % files.size()];
    ASSERT_EQ(textIn(file.mapping), file.cut ? "" : "whole");
    ASSERT_EQ(file.mapping.data()[8999], std::byte{0});
    ASSERT_EQ(storage->isDamaged(file.mapping), file.cut);
  }
}

TEST_F(BusErrorsTest, FilesThatAreCutShortReadAsZerosInEveryThread) {
  inChild([] {
    busErrorsAreHandled();
    const std::array<Folder, 4> folders;
    std::vector<std::thread> threads;
    for (unsigned i = 0; i < folders.size(); ++i)
      threads.emplace_back(cutAndLook, folders[i].path, i);
    for (std::thread& one : threads) one.join();
  });
}

}  // namespace
}  // namespace Tarn
