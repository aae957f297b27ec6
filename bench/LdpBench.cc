/// The label bindings of a router that has the prefixes of the Internet, on their way from the
/// process that keeps them to one that reads them. Nanoseconds, of one binding unless said.
///
///   carry     all bindings of 2014: from the first change of the writer's entities until those of
///             the reader have them all; time of the whole
///   replace   the same from the table of 2008 to that of 2014: exactly the bindings that differ
///   are
///             announced, or the row is an error
///   produce   the first pass of a producer whose tables are empty
///   restart   the same when they are full: nothing is written, so nothing is announced
///   consume   the first pass of a consumer
///   memory    bytes that the reader's entities take for a binding
///   change    one label: from the change until its set in the reader is told of it; for comparison
///             until the row is told there (`bell`), and a message over a raw socket (`ping`)
#include <algorithm>
#include <array>
#include <memory>
#include <stdexcept>

#include "bench/Chain.h"
#include "bench/Figures.h"
#include "bench/HopPeer.h"
#include "bench/Passes.h"
#include "bench/Prefixes.h"
#include "bench/TarnTables.h"
#include "ldp/LdpLibConsumerSm.h"
#include "ldp/LdpLibProducerSm.h"
#include "platform/tarn/ReaderDirectory.h"
#include "platform/tarn/WriterDirectory.h"

namespace Bench {
namespace {

using namespace Ldp;
using namespace Ldp::LdpTarn;

constexpr std::uint32_t changes = 1'000;
constexpr double patience = 30;  // seconds
enum : std::uint32_t {
  startTask,
  beforeTask,   ///< the bindings become those of 2008
  afterTask,    ///< and those of 2014
  passTask,     ///< first passes over other tables and entities
  restartTask,  ///< a first pass over what is there
  changeTask
};

const PrefixTables& tables() {
  static const PrefixTables all = prefixTables();
  return all;
}
const Mpls::FwdEqvClass& changedFec() { return tables().after[1'234].fec; }
Netbase::MplsLabel changedLabel(std::uint32_t i) { return 1'048'000 + i % 2; }

struct Bindings {
  const Forma::Ptr<LabelBindingTable> local = labelBindingTableFactory("local", LdpIdentifier(1));
  const Forma::Ptr<LabelBindingTableColl> peers = labelBindingTableCollFactory("peers");
};

class LdpWriter {
 public:
  explicit LdpWriter(const std::string& path)
      : path_(path), directory_(loop_, at(path), failOnReport) {
    FormaTarn::attachWriter(*tarn_, directory_);
    producer_ = ldpLibProducerSmFactory(bindings_.local, bindings_.peers, tarn_);
  }
  Answer handle(const Command& task) {
    if (task.what == startTask) {
      loop_.runUntil([&] { return directory_.readers() == task.count; }, patience);
      return {};
    }
    loop_.runUntilIdle();
    const auto begin = static_cast<double>(now());
    if (task.what == beforeTask) replace(tables().before);
    if (task.what == afterTask) replace(tables().after);
    if (task.what == passTask) return {pass()};
    if (task.what == restartTask) return {restart()};
    if (task.what == changeTask) {
      const auto set = bindings_.local->mplsLabelSet(changedFec());
      set->mplsLabelIs(changedLabel(task.count), true);
      set->mplsLabelDel(changedLabel(task.count + 1));
    }
    directory_.ring();
    return {begin};
  }

 private:
  static Tarn::WriterDirectory::Options at(const std::string& path) {
    return {.path = path, .owner = "", .group = "", .agent = "bench"};
  }
  void replace(const std::vector<LabelledPrefix>& by) {
    auto next = by.begin();
    LabelBindingTable& local = *bindings_.local;
    for (const auto& [fec, set] : local.mplsLabelSetIteratorConst()) {
      for (; next != by.end() && next->fec < fec; ++next) bind(*next);
      if (next != by.end() && next->fec == fec) {
        if (!set->mplsLabel(next->label)) unbind(*set), bind(*next);
        ++next;
      } else {
        unbind(*set);
        local.mplsLabelSetDel(fec);
      }
    }
    for (; next != by.end(); ++next) bind(*next);
  }
  void bind(const LabelledPrefix& one) {
    bindings_.local->mplsLabelSetIs(one.fec)->mplsLabelIs(one.label, true);
    if (++changed_ % tarnChangesPerTurn != 0) return;
    directory_.ring();
    loop_.runUntilIdle();
  }
  void unbind(MplsLabelSet& set) { set.mplsLabelDelAll(); }

  /// Into tables of its own.
  double pass() {
    Tarn::WriterDirectory directory(loop_, at(path_ + "-2"), failOnReport);
    const auto tarn = ldpLabelBindingTableFactory("empty");
    FormaTarn::attachWriter(*tarn, directory);
    const std::uint64_t begin = now();
    const auto producer = ldpLibProducerSmFactory(bindings_.local, bindings_.peers, tarn);
    return static_cast<double>(now() - begin) / static_cast<double>(tarn->localLbts());
  }
  double restart() {
    producer_ = nullptr;
    const std::uint64_t begin = now();
    producer_ = ldpLibProducerSmFactory(bindings_.local, bindings_.peers, tarn_);
    directory_.ring();
    return static_cast<double>(now() - begin) / static_cast<double>(tarn_->localLbts());
  }

  const std::string path_;
  Kiln::EventLoop loop_;
  Tarn::WriterDirectory directory_;
  const Forma::Ptr<LdpLabelBindingTable> tarn_ = ldpLabelBindingTableFactory("written");
  Bindings bindings_;
  Forma::Ptr<LdpLibProducerSm> producer_;
  std::size_t changed_ = 0;
};

class LdpReader : LdpLabelBindingTable::NotifieeConst {
 public:
  explicit LdpReader(const std::string& path) : directory_(loop_, path, failOnReport) {
    notifierIs(tarn_);
    FormaTarn::attachReader(*tarn_, directory_);
    restart();
  }
  Answer handle(const Command& task) {
    if (task.what == startTask) {
      loop_.runUntil([this] { return directory_.writer().isThere; }, patience);
      return {};
    }
    if (task.what == passTask) return pass();
    rowTold_ = label_.told = 0;
    const auto done = [&] {
      if (task.what == changeTask) return label_.told != 0;
      return bindings_->local->mplsLabelSets() == task.count && tarn_->localLbts() == task.count;
    };
    if (!loop_.runUntil(done, patience)) throw std::runtime_error("bindings are missing");
    const auto end = static_cast<double>(task.what == changeTask ? label_.told : now());
    label_.notifierIs(bindings_->local->mplsLabelSet(changedFec()));
    return {end, static_cast<double>(rowTold_), static_cast<double>(std::exchange(told_, 0))};
  }

 private:
  struct LabelWatch : MplsLabelSet::NotifieeConst {
    void onMplsLabel(const Netbase::MplsLabel& label) override {
      if (notifier()->mplsLabel(label)) told = now();
    }
    std::uint64_t told = 0;
  };
  using NotifieeConst::onLocalLbt;
  void onLocalLbt(const LdpLocalLbtKey& /*key*/) override {
    ++told_;
    if (rowTold_ == 0) rowTold_ = now();
  }

  void restart() {
    consumer_ = nullptr;
    bindings_ = std::make_unique<Bindings>();
    consumer_ = ldpLibConsumerSmFactory(tarn_, bindings_->local, bindings_->peers);
  }
  /// Into entities of its own.
  Answer pass() {
    loop_.runUntilIdle();
    const std::uint32_t told = std::exchange(told_, 0);
    const Bindings bindings;
    const auto memory = static_cast<double>(memoryInUse());
    const std::uint64_t begin = now();
    const auto consumer = ldpLibConsumerSmFactory(tarn_, bindings.local, bindings.peers);
    const auto time = static_cast<double>(now() - begin);
    const auto count = static_cast<double>(bindings.local->mplsLabelSets());
    return {time / count, (static_cast<double>(memoryInUse()) - memory) / count,
            static_cast<double>(told)};
  }

  Kiln::EventLoop loop_;
  Tarn::ReaderDirectory directory_;
  const Forma::Ptr<LdpLabelBindingTable> tarn_ = ldpLabelBindingTableFactory("read");
  std::unique_ptr<Bindings> bindings_;
  Forma::Ptr<LdpLibConsumerSm> consumer_;
  std::uint32_t told_ = 0;
  std::uint64_t rowTold_ = 0;
  LabelWatch label_;
};

struct LdpTimes {
  double carry = 0;
  double replace = 0;
  double produce = 0;
  double restart = 0;
  double consume = 0;
  double memory = 0;
  double bell = 0;
  double change = 0;
};

void expectTold(double told, std::uint32_t expected) {
  if (told != expected)
    throw std::runtime_error(std::to_string(told) + " rows were announced instead of " +
                             std::to_string(expected));
}

double median(std::array<double, changes>& all) {
  std::ranges::nth_element(all, all.begin() + changes / 2);
  return all[changes / 2];
}

LdpTimes measureLdp() {
  const auto count = static_cast<std::uint32_t>(tables().after.size());
  const auto countBefore = static_cast<std::uint32_t>(tables().before.size());
  const Scratch scratch;
  const std::string path = scratch.path("ldp");
  Worker writer("ldp-writer", writerCore, roleOf<LdpWriter>(path));
  writer.call({startTask});  // the tables are there
  Worker reader("ldp-reader", readerCore, roleOf<LdpReader>(path));
  reader.post({startTask});
  writer.call({startTask, 1});
  reader.wait();
  LdpTimes times;
  /// From the begin to the end; so many bindings are announced.
  const auto carry = [&](std::uint32_t task, std::uint32_t bindings, std::uint32_t announced) {
    reader.post({task, bindings});
    const double begin = writer.call({task})[0];
    const Answer answer = reader.wait();
    expectTold(answer[2], announced);
    return answer[0] - begin;
  };
  times.carry = carry(afterTask, count, count);
  carry(beforeTask, countBefore, PrefixTables::gone + PrefixTables::come);
  times.replace = carry(afterTask, count, PrefixTables::gone + PrefixTables::come);
  times.produce = writer.call({passTask})[0];
  times.restart = writer.call({restartTask})[0];
  const Answer pass = reader.call({passTask});
  expectTold(pass[2], 0);
  times.consume = pass[0];
  times.memory = pass[1];
  std::array<double, changes> bells{}, changed{};
  for (std::uint32_t i = 1; i <= changes; ++i) {
    reader.post({changeTask});
    const double made = writer.call({changeTask, i})[0];
    const Answer told = reader.wait();
    bells[i - 1] = told[1] - made;
    changed[i - 1] = told[0] - made;
  }
  times.bell = median(bells);
  times.change = median(changed);
  return times;
}

const bool added = [] {
  const auto times = series<LdpTimes>(measureLdp);
  const std::string mpls = "/Mpls/512490";
  addFigure("Ldp/carry" + mpls, times, &LdpTimes::carry);
  addFigure("Ldp/replace" + mpls, times, &LdpTimes::replace);
  addFigure("Ldp/produce" + mpls, times, &LdpTimes::produce);
  addFigure("Ldp/restart" + mpls, times, &LdpTimes::restart);
  addFigure("Ldp/consume" + mpls, times, &LdpTimes::consume);
  addFigure("Ldp/memory" + mpls, times, &LdpTimes::memory, Unit::bytes);
  addFigure("Ldp/change" + mpls, times, &LdpTimes::change);
  addFigure("Ldp/change/bell/512490", times, &LdpTimes::bell);
  const auto pings = series<Latency>([] {
    PingChain chain;
    chain.write(changes);
    return chain.pace(changes);
  });
  addFigure("Ldp/change/ping/512490", pings, &Latency::median);
  return true;
}();

}  // namespace
}  // namespace Bench
