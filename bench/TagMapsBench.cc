/// Tag maps on their way from the process that keeps them to one that reads them.
///
///   carry     100 maps of 4,094 tags: from the start of the producer until the reader has them all
///   change    one tag: from the change until its map in the reader is told of it; for comparison
///             (`bell`) until the row of shared memory is told there, which any table costs
#include <algorithm>
#include <array>
#include <memory>
#include <stdexcept>

#include "bench/Chain.h"
#include "bench/Figures.h"
#include "bench/TarnTables.h"
#include "mpls/lfib/LfibStatusSm.h"
#include "platform/tarn/ReaderDirectory.h"
#include "platform/tarn/WriterDirectory.h"

namespace Bench {
namespace {

using namespace Mpls;
using Netbase::VlanId;

constexpr std::uint32_t maps = 100;
constexpr std::uint32_t changes = 1'000;
constexpr double patience = 30;  // seconds
enum : std::uint32_t { startTask, carryTask, changeTask };

LfibDot1qTagToVlanKey mapKey(std::uint32_t i) { return {LFib::lfibSourceBgpL2Evpn_, i}; }

class TagWriter {
 public:
  explicit TagWriter(const std::string& path)
      : directory_(loop_, {.path = path, .owner = "", .group = "", .agent = "bench"},
                   failOnReport) {
    FormaTarn::attachWriter(*lfib_, directory_);
    for (std::uint32_t i = 0; i < maps; ++i)
      for (std::uint32_t tag = 1; tag <= VlanId::max; ++tag)
        lfib_->dot1qTagToVlanCollIs(mapKey(i))->dot1qTagToVlanIdIs(tag, tag);
  }
  /// Gives the time when it began.
  Answer handle(const Command& task) {
    if (task.what == startTask) {
      loop_.runUntil([&] { return directory_.readers() == task.count; }, patience);
      return {};
    }
    loop_.runUntilIdle();  // the reader has answered the last ring
    const auto begin = static_cast<double>(now());
    if (task.what == carryTask) producer_ = lfibStatusProducerSmFactory(lfib_);
    else
      lfib_->dot1qTagToVlanColl(mapKey(7))->dot1qTagToVlanIdIs(100, 1 + task.count % VlanId::max);
    directory_.ring();
    return {begin};
  }

 private:
  Kiln::EventLoop loop_;
  Tarn::WriterDirectory directory_;
  Forma::Ptr<LfibStatus> lfib_ = lfibStatusFactory("written");
  Forma::Ptr<LfibStatusProducerSm> producer_;
};

class TagReader : LfibStatus::NotifieeConst {
 public:
  explicit TagReader(const std::string& path) : directory_(loop_, path, failOnReport) {
    notifierIs(lfib_);
    FormaTarn::attachReader(*lfib_, directory_);
    consumer_ = lfibStatusConsumerSmFactory(lfib_);
  }
  /// Gives the times when the last row, and when the last map, was told.
  Answer handle(const Command& task) {
    if (task.what == startTask) {
      loop_.runUntil([this] { return directory_.writer().isThere; }, patience);
      return {};
    }
    const auto all = [&] {
      if (task.what == changeTask) return map_.told != 0;
      const auto last = lfib_->dot1qTagToVlanColls() == maps;
      return last && lfib_->dot1qTagToVlanComposites() == maps * std::size_t{VlanId::max};
    };
    rowTold_ = map_.told = 0;
    if (!loop_.runUntil(all, patience)) throw std::runtime_error("tags are missing");
    const auto told = task.what == changeTask ? map_.told : now();
    map_.notifierIs(lfib_->dot1qTagToVlanColl(mapKey(7)));
    return {static_cast<double>(rowTold_), static_cast<double>(told)};
  }

 private:
  struct MapWatch : LfibDot1qTagToVlan::NotifieeConst {
    void onDot1qTagToVlanId(const VlanId& /*tag*/) override { told = now(); }
    std::uint64_t told = 0;
  };
  using NotifieeConst::onDot1qTagToVlanComposite;
  void onDot1qTagToVlanComposite(const LfibDot1qTagToVlanCompositeKey& /*key*/) override {
    rowTold_ = now();
  }

  Kiln::EventLoop loop_;
  Tarn::ReaderDirectory directory_;
  Forma::Ptr<LfibStatus> lfib_ = lfibStatusFactory("read");
  Forma::Ptr<LfibStatusConsumerSm> consumer_;
  std::uint64_t rowTold_ = 0;
  MapWatch map_;
};

struct TagTimes {
  double carry = 0;  // nanoseconds, all of them
  double bell = 0;
  double change = 0;
};

double median(std::array<double, changes>& all) {
  std::ranges::nth_element(all, all.begin() + changes / 2);
  return all[changes / 2];
}

TagTimes measureTags() {
  const Scratch scratch;
  const std::string path = scratch.path("tags");
  Worker writer("tag-writer", writerCore, roleOf<TagWriter>(path));
  writer.call({startTask});  // the tables are there
  Worker reader("tag-reader", readerCore, roleOf<TagReader>(path));
  reader.post({startTask});
  writer.call({startTask, 1});
  reader.wait();
  const double begin = writer.call({carryTask})[0];
  TagTimes times;
  times.carry = reader.call({carryTask})[1] - begin;
  std::array<double, changes> bells{}, changed{};
  for (std::uint32_t i = 0; i < changes; ++i) {
    reader.post({changeTask});
    const double made = writer.call({changeTask, i})[0];
    const Answer told = reader.wait();
    bells[i] = told[0] - made;
    changed[i] = told[1] - made;
  }
  times.bell = median(bells);
  times.change = median(changed);
  return times;
}

const bool added = [] {
  const auto tags = series<TagTimes>(measureTags);
  addFigure("TagMaps/carry/Mpls/409400", tags, &TagTimes::carry);
  addFigure("TagMaps/change/bell/409400", tags, &TagTimes::bell);
  addFigure("TagMaps/change/Mpls/409400", tags, &TagTimes::change);
  return true;
}();

}  // namespace
}  // namespace Bench
