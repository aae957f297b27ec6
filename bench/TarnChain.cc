#include "bench/TarnChain.h"

#include <signal.h>

#include <algorithm>
#include <array>
#include <cstdlib>
#include <cstring>
#include <exception>
#include <memory>
#include <stdexcept>
#include <vector>

#include "bench/AllHeard.h"
#include "bench/LoopChanges.h"
#include "bench/TarnTables.h"
#include "platform/tarn/ReaderDirectory.h"
#include "platform/tarn/WriterDirectory.h"

namespace Bench {
namespace {

constexpr double patience = 30;  // seconds
constexpr std::size_t rowBytes = sizeof(RowKey) + sizeof(Row);

const Tarn::TableShape& shape() {
  static const Tarn::TableShape made = tarnShape(rowBytes);
  return made;
}

class Writer {
 public:
  explicit Writer(const std::string& path)
      : directory_(loop_, {.path = path, .owner = "", .group = "", .agent = "bench"}, failOnReport),
        table_(directory_.table(shape(), 1)),
        changes_(loop_, [this](RowKey key, const Row& row) { put(key, row); }) {}

  Answer handle(const Command& task) { return changes_.make(task); }
  void awaitReaders(std::size_t count) {
    loop_.runUntil([&] { return directory_.readers() == count; }, patience);
  }
  Kiln::EventLoop& loop() { return loop_; }

 private:
  void put(RowKey key, const Row& row) {
    std::byte* const room = table_->get()->room(rowBytes);
    std::memcpy(room, &key, sizeof key);
    std::memcpy(room + sizeof key, &row, sizeof row);
    table_->get()->commit();
  }

  Kiln::EventLoop loop_;
  Tarn::WriterDirectory directory_;
  std::unique_ptr<Tarn::WriterHandle> table_;
  LoopChanges changes_;
};

class Reader : Tarn::TableListener {
 public:
  explicit Reader(const std::string& path)
      : directory_(loop_, path, failOnReport), table_(directory_.table(shape(), this)) {}

  Answer handle(const Command& task) {
    tally_.expect(task);
    loop_.runUntil([this] { return tally_.complete() || problem_; }, patience);
    if (problem_) std::rethrow_exception(problem_);
    return tally_.answer();
  }

 private:
  bool isListening() const override { return true; }
  void changed(const std::byte* key) override try {
    const Tarn::Record found = table_->get()->view().find<sizeof(RowKey), rowBytes>(key);
    if (!found) throw std::runtime_error("a row is missing");
    RowKey copied;
    Row row;
    std::memcpy(&copied, key, sizeof copied);
    std::memcpy(&row, found.row + sizeof copied, sizeof row);
    tally_.heard(copied, row);
  } catch (...) {
    problem_ = std::current_exception();
  }

  Kiln::EventLoop loop_;
  Tarn::ReaderDirectory directory_;
  std::unique_ptr<Tarn::ReaderHandle> table_;
  Tally tally_;
  std::exception_ptr problem_;
};

/// Hears of changes, and looks them up: what is there at the first command, and for as long as the
/// process lives at the second.
class Follower : Tarn::TableListener {
 public:
  explicit Follower(const std::string& path) : directory_(loop_, path, failOnReport) {
    table_ = directory_.table(shape(), this);  // tells of what is there before it returns
  }
  Answer handle(const Command& task) {
    if (task.count != 0) loop_.run();
    return {};
  }

 private:
  bool isListening() const override { return true; }
  void changed(const std::byte* key) override {
    if (table_ && !table_->get()->told().find<sizeof(RowKey), rowBytes>(key)) std::abort();
  }

  Kiln::EventLoop loop_;
  Tarn::ReaderDirectory directory_;
  std::unique_ptr<Tarn::ReaderHandle> table_;
};

}  // namespace

TarnChain::TarnChain() {
  const std::string path = scratch_.path("tarn");
  const auto heard = std::make_shared<AllHeard>();
  writer_ = std::make_unique<Worker>("tarn-writer", writerCore, [=]() -> Worker::Handler {
    return [=, role = std::make_shared<Writer>(path)](const Command& task) -> Answer {
      if (task.count == 0) return {};
      const Answer answer = role->handle(task);
      heard->await(role->loop());
      return answer;
    };
  });
  writer_->call({});  // the table is there
  reader_ = std::make_unique<Worker>("tarn-reader", readerCore, [=]() -> Worker::Handler {
    return [=, role = std::make_shared<Reader>(path)](const Command& task) {
      const Answer answer = role->handle(task);
      if (task.count != 0) heard->say();
      return answer;
    };
  });
  reader_->call({});
}

double measureTarnAudience(unsigned running, unsigned stopped) {
  constexpr std::uint32_t rows = 100'000;
  constexpr std::array<Core, 3> cores = {readerCore, otherCore, serverCore};
  const Scratch scratch;
  const std::string path = scratch.path("tarn");
  Worker writer("tarn-writer", writerCore, [&]() -> Worker::Handler {
    return [role = std::make_shared<Writer>(path)](const Command& task) {
      if (task.count != 0) return role->handle(task);
      role->awaitReaders(task.generation);
      return Answer{};
    };
  });
  writer.call({writeTask, rows, 1});
  std::vector<std::unique_ptr<Worker>> readers;
  for (unsigned i = 0; i < running + stopped; ++i) {
    readers.push_back(
        std::make_unique<Worker>("tarn-follower", cores[i % cores.size()], roleOf<Follower>(path)));
    readers.back()->call({});
    readers.back()->post({writeTask, 1, 0});
  }
  writer.call({writeTask, 0, readers.size()});  // they are connected
  for (unsigned i = running; i < readers.size(); ++i) kill(readers[i]->pid(), SIGSTOP);
  constexpr std::size_t passes = 7;
  std::array<double, passes> times;
  std::uint64_t generation = 1;
  for (double& time : times) {
    const Answer answer = writer.call({writeTask, rows, ++generation});
    time = (answer[1] - answer[0]) / rows;
  }
  std::nth_element(times.begin(), times.begin() + passes / 2, times.end());
  return times[passes / 2];
}

}  // namespace Bench
