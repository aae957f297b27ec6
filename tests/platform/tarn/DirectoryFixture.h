/// What the tests of directories share: a directory that is written and read here, tables of one
/// kind of row, who is told of them, and other processes.
#pragma once

#include <gmock/gmock.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdint>
#include <cstring>
#include <functional>
#include <map>
#include <memory>
#include <string>
#include <system_error>
#include <utility>
#include <vector>

#include "platform/kiln/Fd.h"
#include "platform/tarn/DirectoryStorage.h"
#include "platform/tarn/ReaderDirectory.h"
#include "platform/tarn/WriterDirectory.h"
#include "tests/platform/tarn/Folder.h"
#include "tests/support/Checks.h"

namespace Tarn {

inline constexpr double patience =
    20;  // seconds of real time; only a test that fails takes as long

struct Row {
  std::uint64_t key = 0;
  std::uint64_t value = 0;
  const std::byte* bytes() const { return reinterpret_cast<const std::byte*>(this); }
};

inline TableShape shape(const std::string& name = "rows") {
  TableShape made;
  made.name = name;
  made.schemaText = "key value";
  made.schemaHash = 7;
  made.keyBytes = 8;
  made.rowBytes = made.maxRowBytes = sizeof(Row);
  made.geometry.firstSegmentBytes = 4096;
  return made;
}

inline void put(WriterHandle& table, std::uint64_t key, std::uint64_t value) {
  table.get()->put(Row{key, value}.bytes(), sizeof(Row));
}

/// What is told of a table: how often of each key.
struct Told : TableListener {
  bool isListening() const override { return listens; }
  void changed(const std::byte* key) override {
    Row row;
    std::memcpy(&row.key, key, sizeof row.key);
    ++keys[row.key];
    if (then) then();
  }
  std::map<std::uint64_t, int> take() { return std::exchange(keys, {}); }

  bool listens = true;
  std::map<std::uint64_t, int> keys;
  std::function<void()> then;
};

/// The value of a row; 0 when there is none.
inline std::uint64_t valueOf(const ReaderHandle& table, std::uint64_t key) {
  const Record found = table.get()->view().find<8>(Row{key, 0}.bytes());
  Row row;
  if (found) std::memcpy(&row, found.row, sizeof row);
  return row.value;
}

/// Another process, which does `work` when the test says so, and is killed at the end.
class Other {
 public:
  /// `work` gets what tells the test that it has come so far, which waits until the test goes on.
  explicit Other(const std::function<void(const std::function<void()>& pause)>& work) {
    int pair[2];
    EXPECT_EQ(::socketpair(AF_UNIX, SOCK_STREAM, 0, pair), 0);
    pid_ = forkMortal();
    if (pid_ == 0) {
      ::close(pair[0]);
      try {
        work([&] {
          char byte = 0;
          if (::write(pair[1], &byte, 1) != 1 || ::read(pair[1], &byte, 1) != 1) ::_exit(9);
        });
      } catch (const std::exception& e) {
        ADD_FAILURE() << e.what();
      }
      ::_exit(testing::Test::HasFailure() ? 1 : 0);
    }
    ::close(pair[1]);
    socket_ = Kiln::Fd(pair[0]);
  }
  ~Other() { kill(); }
  Other(const Other&) = delete;
  Other& operator=(const Other&) = delete;

  pid_t pid() const { return pid_; }
  void awaitPause() const {
    char byte = 0;
    EXPECT_EQ(::read(socket_.get(), &byte, 1), 1);
  }
  void goOn() const { EXPECT_EQ(::write(socket_.get(), "", 1), 1); }
  /// Its exit status.
  int end() {
    int status = -1;
    ::waitpid(std::exchange(pid_, 0), &status, 0);
    return status;
  }
  void kill() {
    if (pid_ == 0) return;
    ::kill(pid_, SIGKILL);
    end();
  }

 private:
  pid_t pid_ = 0;
  Kiln::Fd socket_;
};

/// Counts rings and answers, and can lose them.
struct CountedCalls : SystemCalls {
  CountedCalls() { currentIs(*this); }
  ~CountedCalls() override { currentIs(real()); }
  ssize_t send(int fd, const void* bytes, std::size_t size) override {
    ++sent;
    return loses ? static_cast<ssize_t>(size) : SystemCalls::send(fd, bytes, size);
  }
  int sent = 0;
  bool loses = false;
};

class DirectoryFixture : public testing::Test {
 protected:
  std::unique_ptr<WriterDirectory> write(Kiln::EventLoop& on, mode_t mode = 0755) {
    WriterDirectory::Options options;
    options.path = path;
    options.mode = mode;
    options.agent = "lfib writer";
    return std::make_unique<WriterDirectory>(on, options, report());
  }
  std::unique_ptr<ReaderDirectory> read(Kiln::EventLoop& on) {
    auto made = std::make_unique<ReaderDirectory>(on, path, report());
    made->onWriterIs(noteOf(*made));
    return made;
  }
  /// What notes that the writer of a reader came or went.
  std::function<void()> noteOf(const ReaderDirectory& reader) {
    return [this, &reader] {
      events.push_back((reader.writer().isThere ? "came " : "went ") +
                       std::to_string(reader.writer().comes));
    };
  }
  Report report() {
    return [this](const std::string& text) { reports.push_back(text); };
  }
  std::string refusal() {
    return Checks::raised<std::system_error>([&] { write(loop, 0700); });
  }
  mode_t modeOf(const std::string& name) const {
    struct stat file {};
    EXPECT_EQ(::stat((path + name).c_str(), &file), 0) << path << name;
    return file.st_mode & 07777;
  }
  /// A writer that publishes rows `first` to `last` and then waits to be killed.
  std::unique_ptr<Other> writer(const std::function<void(WriterHandle&)>& change) {
    auto other = std::make_unique<Other>([&](const auto& pause) {
      Kiln::EventLoop own;
      const auto directory = write(own);
      const auto table = directory->table(shape(), 100);
      change(*table);
      directory->ring();
      ::fork();  // a child that lives on for a while must not keep readers waiting
      pause();
    });
    return other;
  }

  Folder folder;
  std::string path = folder / "lfib";
  Kiln::TestClock clock;
  Kiln::EventLoop loop{clock};
  std::vector<std::string> reports;
  std::vector<std::string> events;
  Told told;
};

}  // namespace Tarn
