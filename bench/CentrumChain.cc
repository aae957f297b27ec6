#include "bench/CentrumChain.h"

#include <exception>
#include <memory>
#include <utility>

#include "bench/Agent.h"
#include "platform/centrum/Server.h"
#include "platform/centrum/UnixStream.h"

namespace Bench {
namespace {

/// Changes of one turn of the writer's loop.
constexpr std::size_t changesPerTurn = 1'000;

class Writer {
 public:
  explicit Writer(const std::string& socket)
      : agent_(socket, "writer"), rows_(agent_.mount<Rows>(rowsPath, "w")) {}

  Answer handle(const Command& task) {
    task_ = task;
    keys_ = shuffledKeys(task.count, task.generation);
    done_ = 0;
    const auto begin = static_cast<double>(now());
    if (task.what == paceTask) change(agent_.loop.now());
    else agent_.loop.post([this] { change(); });
    agent_.runUntil([this] { return done_ == keys_.size(); }, "written");
    agent_.send();
    return {begin};
  }

 private:
  /// One turn's worth, and the next in the next turn.
  void change() {
    for (std::size_t i = 0; i < changesPerTurn && done_ < keys_.size(); ++i) changeOne();
    if (done_ < keys_.size()) agent_.loop.post([this] { change(); });
  }
  /// One at its time, and the next a while later.
  void change(double due) {
    due += static_cast<double>(paceInterval) * 1e-9;
    agent_.loop.timers().timerIs(due, [this, due] {
      changeOne();
      if (done_ < keys_.size()) change(due);
    });
  }
  void changeOne() { rows_->rowIs(keys_[done_++], Row(task_.generation, now())); }

  Agent agent_;
  Forma::Ptr<Rows> rows_;
  Command task_;
  std::vector<std::uint32_t> keys_;
  std::size_t done_ = 0;
};

class Reader : Rows::NotifieeConst {
 public:
  explicit Reader(const std::string& socket) : agent_(socket, "reader") {
    notifierIs(agent_.mount<Rows>(rowsPath, "r"));
  }

  Answer handle(const Command& task) {
    tally_.expect(task);
    agent_.runUntil([this] { return tally_.complete() || problem_; }, "heard");
    if (problem_) std::rethrow_exception(problem_);
    return tally_.answer();
  }

 private:
  void onRow(const RowKey& key) override try {
    tally_.heard(key, *notifier()->rowFind(key));
  } catch (...) {
    problem_ = std::current_exception();  // else it would end in the entity manager
  }

  Agent agent_;
  Tally tally_;
  std::exception_ptr problem_;
};

}  // namespace

std::unique_ptr<Process> centrumServer(const std::string& socket, const std::string& log) {
  constexpr mode_t mode = 0660;
  return std::make_unique<Process>("server", serverCore, [&] {
    Kiln::EventLoop loop;
    const Centrum::Server server(loop, Centrum::unixListenerFactory(loop, socket, mode),
                                 Centrum::fileLogFactory(log));
    loop.run();
  });
}

CentrumChain::CentrumChain() {
  server_ = centrumServer(socket(), log());
  writer_ = std::make_unique<Worker>("writer", writerCore, roleOf<Writer>(socket()));
  reader_ = std::make_unique<Worker>("reader", readerCore, roleOf<Reader>(socket()));
  writer_->call({});
  reader_->call({});  // has mounted
}

}  // namespace Bench
