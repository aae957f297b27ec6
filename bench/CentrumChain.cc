#include "bench/CentrumChain.h"

#include <exception>
#include <memory>
#include <utility>

#include "bench/Agent.h"
#include "bench/LoopChanges.h"
#include "platform/centrum/Server.h"
#include "platform/centrum/UnixStream.h"

namespace Bench {
namespace {

class Writer {
 public:
  explicit Writer(const std::string& socket)
      : agent_(socket, "writer"),
        rows_(agent_.mount<Rows>(rowsPath, "w")),
        changes_(agent_.loop, [this](RowKey key, const Row& row) { rows_->rowIs(key, row); }) {}

  Answer handle(const Command& task) {
    const Answer answer = changes_.make(task);
    agent_.send();
    return answer;
  }

 private:
  Agent agent_;
  Forma::Ptr<Rows> rows_;
  LoopChanges changes_;
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
