/// The label manager with many clients. Times are per request, and per restart (`adopt`).
///
///   grant     a request comes and is served, or goes, with n other clients
///   change    a request comes and has to wait, or goes, with n others that wait
///   retry     nothing is free when all n that wait are looked at again
///   adopt     the first pass of a restarted manager: 63 blocks over n clients
///   median    from a client's request to its block, in processes of their own, over the database,
///             one at a time; p99 likewise. `hops` is a message through three processes, one way
///             instead of there and back: HopPeer.h
#include <benchmark/benchmark.h>

#include <algorithm>
#include <memory>
#include <string>
#include <vector>

#include "bench/Agent.h"
#include "bench/CentrumChain.h"
#include "bench/ChainFigures.h"
#include "bench/HopPeer.h"
#include "mpls/labelmgr/LabelManagerSm.h"
#include "mpls/labelmgr/Registration.h"
#include "platform/centrum/LocalEntityManager.h"

namespace Bench {
namespace {

using namespace Mpls;

constexpr std::uint32_t allBlocks = 63;
const Forma::Name measured("measured");  // the client whose requests change
const LabelRange allLabels(0, 1'048'576);

/// A manager that has mounted its clients: `measured`, and `clients` others with `ids` requests
/// each.
class Manager {
 public:
  Manager(std::uint32_t clients, std::uint32_t ids) {
    registerLabelManagerTypes(registry_);
    dir_ = Forma::ptrCast<Forma::Dir>(em_->newEntity("mpls/config/labelRequest", "Forma::Dir"));
    config_->mplsRoutingIs(true);
    config_->labelRangeIs(LabelRangeInfo::rangeTypeDynamic, allLabels);
    for (std::uint32_t i = 0; i < clients; ++i) {
      const auto requests = client("client" + std::to_string(i));
      for (std::uint32_t id = 0; id < ids; ++id)
        requests->labelRequestIs(LabelRequest(Forma::String8("id" + std::to_string(id))));
    }
    requests_ = client(std::string(measured.view()));
    restart();
    loop_.runUntilIdle();
  }
  ~Manager() {
    sm_ = nullptr;
    em_->close();
  }
  Manager(const Manager&) = delete;
  Manager& operator=(const Manager&) = delete;

  void stop() { sm_ = nullptr; }
  void restart() { sm_ = labelManagerSmFactory(loop_.timers(), em_, dir_, config_, status_); }
  ClientLabelRequest& requests() { return *requests_; }
  LabelManagerSm& sm() { return *sm_; }
  /// Numbers that were released are free again.
  void rest() { loop_.advance(clock_, 2); }
  std::size_t blocksOf(const Forma::Name& client) const {
    return status_->labelBlockAllocationFind(client)->blocks();
  }
  std::size_t blocks() const {
    std::size_t count = 0;
    for (const auto& one : status_->labelBlockAllocationIteratorConst())
      count += one.value->blocks();
    return count;
  }

 private:
  Forma::Ptr<ClientLabelRequest> client(const std::string& name) {
    return Forma::ptrCast<ClientLabelRequest>(
        em_->newEntity("mpls/config/labelRequest/" + name, ClientLabelRequest::formaTypeName));
  }

  Kiln::TestClock clock_;
  Kiln::EventLoop loop_{clock_};
  Forma::TypeRegistry registry_;
  const Forma::Ptr<Centrum::LocalEntityManager> em_ =
      Centrum::localEntityManagerFactory(loop_, registry_);
  const Forma::Ptr<Config> config_ = configFactory(Forma::Name("config"));
  const Forma::Ptr<Api::Status> status_ = Api::statusFactory(Forma::Name("api"));
  Forma::Ptr<Forma::Dir> dir_;
  Forma::Ptr<ClientLabelRequest> requests_;
  Forma::Ptr<LabelManagerSm> sm_;
};

void grant(benchmark::State& state, std::uint32_t n) {
  constexpr std::uint32_t batch = 30;  // no more than are free while as many rest
  Manager manager(n, 0);
  std::vector<LabelRequest> requests;
  for (std::uint32_t i = 0; i < batch; ++i)
    requests.emplace_back(Forma::String8("id" + std::to_string(i)));
  while (state.KeepRunningBatch(2 * batch)) {
    for (const LabelRequest& one : requests) manager.requests().labelRequestIs(one);
    if (manager.blocksOf(measured) != batch) return state.SkipWithError("not all were served");
    for (const LabelRequest& one : requests) manager.requests().labelRequestDel(one.id());
    state.PauseTiming();
    manager.rest();
    state.ResumeTiming();
  }
}

constexpr std::uint32_t idsOfClient = 100;

void change(benchmark::State& state, std::uint32_t n) {
  Manager manager(n / idsOfClient, idsOfClient);
  const LabelRequest one("id");
  while (state.KeepRunningBatch(2)) {
    manager.requests().labelRequestIs(one);
    manager.requests().labelRequestDel(one.id());
  }
  if (manager.blocks() != allBlocks) state.SkipWithError("nobody has to wait");
}

void retry(benchmark::State& state, std::uint32_t n) {
  Manager manager(n / idsOfClient, idsOfClient);
  while (state.KeepRunningBatch(n)) manager.sm().handleLabelRequest();
}

void adopt(benchmark::State& state, std::uint32_t n) {
  Manager manager(n, 1);
  for (auto _ : state) {
    state.PauseTiming();
    manager.stop();
    state.ResumeTiming();
    manager.restart();
  }
  if (manager.blocks() != allBlocks) state.SkipWithError("blocks are lost");
}

// ---- Between processes -------------------------------------------------------------------------

constexpr std::string_view statusPath = "bench/api/status";
const std::string clientPath =
    std::string(LabelManagerClientMounter::directory().view()) + std::string(measured.view());

void runManager(const std::string& socket) {
  Agent agent(socket, "manager");
  const auto config = configFactory(Forma::Name("config"));
  config->mplsRoutingIs(true);
  const auto dir = agent.mount<Forma::Dir>("mpls/config/labelRequest", "w");
  const auto status = agent.mount<Api::Status>(statusPath, "w");
  const auto sm = labelManagerSmFactory(agent.loop.timers(), agent.em, dir, config, status);
  sm->drAllocConfig()->expiryTimeIs(0);  // else 16 blocks would not do for a thousand a second
  agent.loop.run();
}

class Client {
 public:
  explicit Client(const std::string& socket)
      : agent_(socket, "client"),
        requests_(agent_.mount<ClientLabelRequest>(clientPath, "w")),
        status_(agent_.mount<Api::Status>(statusPath, "r")) {}

  /// Asks `count` times for a block, a millisecond after the last one came.
  Answer handle(const Command& task) {
    std::vector<double> times;
    for (std::uint32_t i = 0; i < task.count; ++i) {
      agent_.loop.runUntil([] { return false; }, static_cast<double>(paceInterval) * 1e-9);
      const Forma::String8 id(std::to_string(i));
      const std::uint64_t begin = now();
      agent_.loop.post([&] { requests_->labelRequestIs(LabelRequest(id)); });
      agent_.runUntil([&] { return hasBlock(Forma::Name(id)); }, "served");
      times.push_back(static_cast<double>(now() - begin));
      requests_->labelRequestDel(id);
    }
    std::ranges::sort(times);
    return {times.at(times.size() / 2), times.at(times.size() * 99 / 100)};
  }

 private:
  bool hasBlock(const Forma::Name& id) const {
    const LabelBlockAllocation* const alloc = status_->labelBlockAllocationFind(measured);
    return alloc != nullptr && alloc->blockFind(id) != nullptr;
  }

  Agent agent_;
  const Forma::Ptr<ClientLabelRequest> requests_;
  const Forma::Ptr<Api::Status> status_;
};

Latency measureLatency() {
  constexpr std::uint32_t count = 1'500;
  const Scratch scratch;
  const std::string socket = scratch.path("socket");
  const auto server = centrumServer(socket, scratch.path("log"));
  const Process manager("manager", readerCore, [&] { runManager(socket); });
  Worker client("client", writerCore, roleOf<Client>(socket));
  client.call({0, count / 10, 0});
  const Answer answer = client.call({0, count, 0});
  return {answer[0], answer[1]};
}

void add(const char* op, void (*measure)(benchmark::State&, std::uint32_t),
         std::vector<std::uint32_t> sizes) {
  for (const std::uint32_t n : sizes)
    benchmark::RegisterBenchmark(
        (std::string("Label/") + op + "/Mpls/" + std::to_string(n)).c_str(),
        [=](benchmark::State& state) { measure(state, n); });
}

const bool added = [] {
  add("grant", grant, {1, 10'000});
  add("change", change, {1'000, 100'000});
  add("retry", retry, {100'000});
  add("adopt", adopt, {1'000});
  const auto latencies = series<Latency>(measureLatency);
  addFigure("Label/median/Mpls/1000", latencies, &Latency::median);
  addFigure("Label/p99/Mpls/1000", latencies, &Latency::p99);
  addLatencies<HopChain>("Label/", "hops");
  return true;
}();

}  // namespace
}  // namespace Bench
