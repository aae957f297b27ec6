/// The forwarding machine behind the tables of another process, at the size of a large switch: ten
/// routes to a via set, two vias in each.
///
///   pass      start on tables that are there: tracking, IP lookup and forwarding, for a route
///   follow    processor time of the reader for a change of a route, in bursts of 100,000
///   paced     the same at 100,000 changes a second: 10,000 would be a whole core
///   memory    bytes of the reader for a route, the tables apart
#include <malloc.h>
#include <time.h>
#include <unistd.h>

#include <algorithm>
#include <fstream>
#include <memory>
#include <stdexcept>

#include "bench/AllHeard.h"
#include "bench/Chain.h"
#include "bench/Figures.h"
#include "mpls/lfib/LfibForwardingSm.h"
#include "mpls/lfib/LfibIpLookupSm.h"
#include "platform/tarn/ReaderDirectory.h"
#include "platform/tarn/WriterDirectory.h"

namespace Bench {
namespace {

using namespace Mpls;

constexpr std::uint32_t routes = 1'000'000;
constexpr std::uint32_t viaSets = routes / 10;
constexpr std::uint32_t burst = 100'000;
constexpr double patience = 60;  // seconds
constexpr LFib::Source source = LFib::lfibSourceLdp_;

void failOnReportText(const std::string& text) { throw std::runtime_error(text); }

LfibViaKey viaKey(std::uint32_t i) { return {source, viaTypeMplsIp_, i}; }
LfibViaSetKey viaSetKey(std::uint32_t i) { return {source, i, viaTypeMplsIp_}; }
/// In each generation a route has another via set.
LfibRoute route(std::uint32_t i, std::uint64_t generation) {
  const auto viaSet = static_cast<std::uint32_t>((i / 10 + generation * 7919) % viaSets);
  return {RouteKey(16 + i, 0), viaSetKey(viaSet), source};
}

double processorTime() {  // nanoseconds
  timespec time{};
  require(clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &time) == 0, "clock_gettime");
  return static_cast<double>(time.tv_sec) * 1e9 + static_cast<double>(time.tv_nsec);
}

double memoryInUse() {
  std::size_t pages = 0, shared = 0, all = 0;
  std::ifstream("/proc/self/statm") >> all >> pages >> shared;
  return static_cast<double>((pages - shared) * static_cast<std::size_t>(sysconf(_SC_PAGESIZE)) -
                             mallinfo2().fordblks);
}

class Writer {
 public:
  explicit Writer(const std::string& path)
      : directory_(loop_, {.path = path, .owner = "", .group = "", .agent = "bench"},
                   failOnReportText),
        lfib_(lfibStatusFactory("lfib")) {
    FormaTarn::attachWriter(*lfib_, directory_, routes);
    for (std::uint32_t i = 0; i < 2 * viaSets; ++i)
      lfib_->mplsViaCommit(
          {viaKey(i), Netbase::IpGenAddr("10.0.0.1"), Netbase::swap_, 16 + i, false});
    for (std::uint32_t i = 0; i < viaSets; ++i)
      lfib_->viaSetCommit({viaSetKey(i), {viaKey(2 * i), viaKey(2 * i + 1)}});
    for (const std::uint32_t i : shuffledKeys(routes, 0)) lfib_->lfibRouteCommit(route(i, 0));
  }

  /// Changes `count` routes all over the table: at once, or 100 each millisecond.
  Answer handle(const Command& task, const AllHeard& heard) {
    if (task.count == 0) return {};
    const auto keys = shuffledKeys(routes, task.generation);
    const std::size_t atOnce = task.what == paceTask ? 100 : task.count;
    std::uint64_t due = now();
    for (std::size_t i = 0; i < task.count; ++i) {
      lfib_->lfibRouteCommit(route(keys[i], task.generation));
      if ((i + 1) % atOnce != 0) continue;
      directory_.ring();
      loop_.runUntilIdle();
      if (task.what == paceTask) sleepUntil(due += paceInterval);
    }
    heard.await(loop_);
    return {};
  }

 private:
  Kiln::EventLoop loop_;
  Tarn::WriterDirectory directory_;
  const Forma::Ptr<LfibStatus> lfib_;
};

/// The forwarding agent without its outputs.
class Reader {
 public:
  explicit Reader(const std::string& path)
      : directory_(loop_, path, failOnReportText), lfib_(lfibStatusFactory("lfib")) {
    FormaTarn::attachReader(*lfib_, directory_);
    loop_.runUntilIdle();
  }

  /// The first command starts the machines; the others follow `count` changes.
  Answer handle(const Command& task, const AllHeard& heard) {
    if (!sm_) return start();
    heard_ = 0;
    const double before = processorTime();
    if (!loop_.runUntil([&] { return heard_ >= task.count; }, patience))
      throw std::runtime_error("heard of " + std::to_string(heard_) + " changes");
    const double time = processorTime() - before;
    heard.say();
    return {time / task.count};
  }

 private:
  Answer start() {
    const double memory = memoryInUse(), before = processorTime();
    tracking_ = lfibTrackingSmFactory(lfib_, backlog_, "tracking");
    ipLookup_ = lfibIpLookupSmFactory(lfib_, backlog_, lfibIpLookupStatusFactory("ipLookup"));
    sm_ = lfibForwardingSmFactory(
        {{lfib_, backlog_, tracking_}},
        {statusFactory("status"), lfibHwStatusFactory("hw"), lfibHwReasonStatusFactory("reasons")},
        loop_);
    if (!loop_.runUntil([&] { return sm_->initialized(); }, patience) || sm_->routes() != routes)
      throw std::runtime_error("forwards " + std::to_string(sm_->routes()) + " routes");
    sm_->onRouteIs([this](const RouteKey& /*key*/) { ++heard_; });
    return {(processorTime() - before) / routes, (memoryInUse() - memory) / routes};
  }

  Kiln::EventLoop loop_;
  Tarn::ReaderDirectory directory_;
  const Forma::Ptr<LfibStatus> lfib_;
  const Forma::Ptr<LfibTrackingStatus> backlog_ = lfibTrackingStatusFactory("backlog");
  Forma::Ptr<LfibTrackingSm> tracking_;
  Forma::Ptr<LfibIpLookupSm> ipLookup_;
  Forma::Ptr<LfibForwardingSm> sm_;
  std::uint32_t heard_ = 0;
};

template <class Role>
std::unique_ptr<Worker> worker(const char* name, Core core, const std::string& path,
                               const std::shared_ptr<AllHeard>& heard) {
  return std::make_unique<Worker>(name, core, [=]() -> Worker::Handler {
    return [=, role = std::make_shared<Role>(path)](const Command& task) {
      return role->handle(task, *heard);
    };
  });
}

struct Result {
  double pass = 0;
  double follow = 0;
  double paced = 0;
  double memory = 0;
};

Result measure() {
  const Scratch scratch;
  const auto heard = std::make_shared<AllHeard>();
  const auto writer = worker<Writer>("lfib-writer", writerCore, scratch.path("lfib"), heard);
  writer->call({});
  const auto reader = worker<Reader>("forwarding", readerCore, scratch.path("lfib"), heard);
  const Answer started = reader->call({});
  Result result{started[0], 0, 0, started[1]};
  const auto follow = [&](Task what, std::uint32_t count, std::uint64_t generation) {
    reader->post({what, count, generation});
    writer->post({what, count, generation});
    writer->wait();
    return reader->wait()[0];
  };
  follow(writeTask, burst, 1);
  result.follow = follow(writeTask, burst, 2);
  result.paced = follow(paceTask, 2 * burst, 3);
  return result;
}

const bool added = [] {
  const auto results = series<Result>(measure);
  const std::string end = "/Mpls/" + std::to_string(routes);
  addFigure("Forwarding/pass" + end, results, &Result::pass);
  addFigure("Forwarding/follow" + end, results, &Result::follow);
  addFigure("Forwarding/paced" + end, results, &Result::paced);
  addFigure("Forwarding/memory" + end, results, &Result::memory, Unit::bytes);
  return true;
}();

}  // namespace
}  // namespace Bench
