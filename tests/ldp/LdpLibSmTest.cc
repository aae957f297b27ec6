// What the LDP machines do besides following: the order of their first pass, containers that go
// whole, observers that raise or drop them, damage, and what they refuse.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <functional>
#include <iterator>
#include <memory>
#include <sstream>
#include <stdexcept>
#include <string>
#include <utility>

#include "ldp/LdpLibConsumerSm.h"
#include "ldp/LdpLibProducerSm.h"
#include "platform/kiln/EventLoop.h"
#include "tests/platform/tarn/Folder.h"
#include "tests/support/Checks.h"

namespace Ldp::LdpTarn {
namespace {

using Fec = Mpls::FwdEqvClass;
using testing::ElementsAre;
using testing::HasSubstr;

const Fec fec = Checks::parsed<Fec>("10.0.0.0/8"), other = Checks::parsed<Fec>("2001:db8::/32");
constexpr LdpIdentifier peerId(2), otherId(3);
constexpr auto filtered = Mpls::fecFilteredStateFiltered_;

class LdpLibSmTest : public ::testing::Test {
 protected:
  Forma::Ptr<LdpLibProducerSm> producer() { return ldpLibProducerSmFactory(local, peers, tarn); }
  Forma::Ptr<LdpLibConsumerSm> consumer() { return ldpLibConsumerSmFactory(tarn, made, madePeers); }
  /// One fact of each kind.
  void fill() {
    local->mplsLabelSetIs(fec)->mplsLabelIs(16, true);
    local->advertisedToIs(fec)->identifierIs(peerId, false);
    local->fecFilteredStateIs(fec, filtered);
    peers->bindingTableIs(peerId)->mplsLabelSetIs(fec)->mplsLabelIs(17, true);
    peers->bindingTable(peerId)->fecFilteredStateIs(fec, filtered);
  }
  std::size_t rows() const {
    return tarn->localLbts() + tarn->localLbtAdvertisedTos() + tarn->localLbtFilterStates() +
           tarn->peerLbts() + tarn->peerLbtFilterStates();
  }
  /// The handlers that run meanwhile, in order, without what they run for.
  static std::string handlers(const std::function<void()>& step) {
    std::istringstream lines(Checks::traced("LdpLibSm/8", step));
    std::string all;
    for (std::string line; std::getline(lines, line);) {
      const std::string name = line.substr(0, line.find(' '));
      if (const auto at = name.find("handle"); at != std::string::npos)
        all += name.substr(at) + ' ';
    }
    return all;
  }

  const Forma::Ptr<LabelBindingTable> local = labelBindingTableFactory("local", LdpIdentifier(1));
  const Forma::Ptr<LabelBindingTableColl> peers = labelBindingTableCollFactory("peers");
  const Forma::Ptr<LdpLabelBindingTable> tarn = ldpLabelBindingTableFactory("tarn");
  const Forma::Ptr<LabelBindingTable> made = labelBindingTableFactory("made", LdpIdentifier(1));
  const Forma::Ptr<LabelBindingTableColl> madePeers = labelBindingTableCollFactory("madePeers");
};

TEST_F(LdpLibSmTest, FirstPassesGoInAFixedOrder) {
  fill();
  tarn->localLbtIs(LdpLocalLbt({other, 18}));
  tarn->localLbtAdvertisedToIs(LdpLocalLbtAdvertisedTo({other, otherId}));
  tarn->localLbtFilterStateIs({other, filtered});
  tarn->peerLbtIs(LdpPeerLbt({otherId, other, 18}));
  tarn->peerLbtFilterStateIs({{otherId, other}, filtered});
  // Stale rows of the local router, its facts, and the same of the peers but that labels come last.
  EXPECT_EQ(handlers([this] { producer(); }),
            "handleInitialized handleLocalLabel handleLocalFilterState handleLocalAdvertisedTo "
            "handleLocalLabelColl handleLocalLabel handleLocalFilterState "
            "handleLocalAdvertisedToColl handleLocalAdvertisedTo "
            "handlePeerFilterState handlePeerFecColl handlePeerFilterState "
            "handlePeerLabelColl handlePeerLabel handlePeerLabel handlePeerLabel ");
  EXPECT_EQ(rows(), 5U);
  EXPECT_EQ(handlers([this] { consumer(); }),
            "handleInitialized handleLocalLbt handleLocalLbtAdvertisedTo handleLocalLbtFilterState "
            "handlePeerLbt handlePeerLbtFilterState ");
  EXPECT_TRUE(made->mplsLabelSet(fec)->mplsLabel(16) &&
              made->advertisedTo(fec)->identifier(peerId));
  EXPECT_EQ(madePeers->bindingTable(peerId)->fecFilteredState(fec), filtered);
}

TEST_F(LdpLibSmTest, ContainersThatGoWholeLeaveTheirRowsAndAreNotFollowed) {
  fill();
  const auto sm = producer();
  const auto set = local->mplsLabelSet(fec);
  const auto peer = peers->bindingTable(peerId);
  const auto followed = [&] {
    return std::vector{sm->localLbtLabelSets(), sm->localLbtAdvertisedToSets(), sm->peerLbtSets(),
                       sm->peerLbtLabelSets(peerId)};
  };
  EXPECT_THAT(followed(), ElementsAre(1, 1, 1, 1));
  local->mplsLabelSetDel(fec);
  local->advertisedToDel(fec);
  peer->mplsLabelSetDel(fec);
  EXPECT_THAT(followed(), ElementsAre(0, 0, 1, 0));
  peers->bindingTableDelAll();
  EXPECT_THAT(followed(), ElementsAre(0, 0, 0, 0));
  set->mplsLabelIs(99, true);
  peer->fecFilteredStateDel(fec);
  EXPECT_EQ(rows(), 5U);
  local->mplsLabelSetIs(fec)->mplsLabelIs(16, true);
  local->mplsLabelSet(fec)->mplsLabelIs(16, false);
  EXPECT_EQ(tarn->localLbts(), 0U) << "followed again; what is not bound has no row";
  sm->handleInitialized();
  EXPECT_EQ(rows(), 1U) << "the filter";
}

/// Raises at each change, or does something once.
struct Meddler : LabelBindingTable::NotifieeConst, LabelBindingTableColl::NotifieeConst {
  using LabelBindingTable::NotifieeConst::notifierIs,
      LabelBindingTableColl::NotifieeConst::notifierIs;
  void onMplsLabelSet(const Fec& /*fec*/) override { act(); }
  void onAdvertisedTo(const Fec& /*fec*/) override { act(); }
  void onFecFilteredState(const Fec& /*fec*/) override { act(); }
  void onBindingTable(const LdpIdentifier& /*id*/) override { act(); }
  std::function<void()> act;
};

TEST_F(LdpLibSmTest, ContainersAreFollowedInTheStateInWhichTheyCome) {
  Meddler filler;  // hears of new containers first
  filler.notifierIs(local);
  filler.notifierIs(peers);
  filler.act = [this, filled = false]() mutable {
    if (!std::exchange(filled, true)) fill();
  };
  const auto sm = producer();
  peers->bindingTableIs(peerId);
  EXPECT_EQ(rows(), 5U);
  const auto another = labelBindingTableFactory("another", peerId);
  another->mplsLabelSetIs(other);
  sm->peerLbtSetIs(another);
  EXPECT_EQ(sm->peerLbtLabelSets(peerId), 1U) << "those of the one before are not followed";
}

TEST_F(LdpLibSmTest, ObserversThatRaiseOrDropTheMachineLoseNothing) {
  fill();
  peers->bindingTableIs(otherId)->mplsLabelSetIs(fec)->mplsLabelIs(18, true);
  struct : LdpLabelBindingTable::NotifieeConst {
    using NotifieeConst::onLocalLbt, NotifieeConst::onPeerLbt;
    void onLocalLbt(const LdpLocalLbtKey& /*key*/) override { throw std::runtime_error("first"); }
    void onPeerLbt(const LdpPeerLbtKey& /*key*/) override { throw std::runtime_error("later"); }
  } refuser;
  refuser.notifierIs(tarn);
  EXPECT_EQ(Checks::raised<std::runtime_error>([this] { producer(); }), "first");
  EXPECT_EQ(rows(), 6U);
  refuser.notifierIs(nullptr);

  Meddler meddler;
  meddler.notifierIs(made);
  meddler.notifierIs(madePeers);
  meddler.act = [] { throw std::runtime_error("refused"); };
  EXPECT_EQ(Checks::raised<std::runtime_error>([this] { consumer(); }), "refused");
  const auto complete = [this] {
    return made->mplsLabelSets() + made->advertisedTos() + made->fecFilteredStates() == 3 &&
           made->mplsLabelSet(fec)->mplsLabels() == 1 && madePeers->bindingTables() == 2 &&
           madePeers->bindingTable(otherId)->mplsLabelSet(fec)->mplsLabels() == 1;
  };
  EXPECT_TRUE(complete());
  meddler.act = [] {};
  made->mplsLabelSetDelAll(), made->advertisedToDelAll(), made->fecFilteredStateDelAll();
  madePeers->bindingTableDelAll();
  auto reader = consumer();
  meddler.act = [] { throw std::runtime_error("refused"); };
  EXPECT_THROW(reader->handleDelete(), std::runtime_error);
  EXPECT_EQ(made->mplsLabelSets() + made->advertisedTos() + made->fecFilteredStates() +
                madePeers->bindingTables(),
            0U);
  meddler.act = [&] { reader = nullptr; };
  reader->handleInitialized();  // its first output drops it
  EXPECT_TRUE(!reader && complete());

  auto writer = producer();
  struct : LdpLabelBindingTable::NotifieeConst {
    using NotifieeConst::onLocalLbt;
    void onLocalLbt(const LdpLocalLbtKey& /*key*/) override { drop(); }
    std::function<void()> drop;
  } dropper;
  dropper.drop = [&] { local->mplsLabelSetDel(other), writer = nullptr; };
  dropper.notifierIs(tarn);
  local->mplsLabelSetIs(other)->mplsLabelIs(20, true);
  EXPECT_TRUE(!writer && tarn->localLbts() == 2);
}

/// Flips a bit of the row where it stands in the files of the table, whose names begin so.
template <class Row>
void damage(const std::string& path, const std::string& table, const Row& row) {
  std::string packed(Tarn::RowForm<Row>::rowBytes, '\0');
  Tarn::RowForm<Row>::encode(row, reinterpret_cast<std::byte*>(packed.data()));
  for (const auto& file : Tarn::fs::directory_iterator(path)) {
    if (!file.path().filename().string().starts_with(table + '.')) continue;
    std::fstream bytes(file.path(), std::ios::in | std::ios::out | std::ios::binary);
    const std::string all(std::istreambuf_iterator<char>(bytes), {});
    const std::size_t at = all.find(packed);
    if (at == std::string::npos) continue;
    bytes.clear();
    bytes.seekp(static_cast<std::streamoff>(at + packed.size() - 1));
    bytes.put(static_cast<char>(packed.back() ^ 1));
    return;
  }
  ADD_FAILURE() << "no file holds " << row.key();
}

TEST_F(LdpLibSmTest, DamagedRowsAreReportedAndReadAsAbsent) {
  const Tarn::Folder folder;
  Kiln::EventLoop loop;
  std::string reports;
  Tarn::WriterDirectory::Options options;
  options.path = folder / "ldp";
  Tarn::WriterDirectory writer(loop, options, [](const std::string&) {});
  Tarn::ReaderDirectory reader(loop, options.path,
                               [&](const std::string& text) { reports += text + '\n'; });
  const auto read = ldpLabelBindingTableFactory("read");
  FormaTarn::attachWriter(*tarn, writer);
  FormaTarn::attachReader(*read, reader);
  const auto look = [&] { writer.ring(), loop.runUntilIdle(), reader.look(); };
  fill();
  const auto writing = producer();
  look();
  const auto reading = ldpLibConsumerSmFactory(read, made, madePeers);
  damage(options.path, "localLbtFilterState", LdpLocalLbtFilterState(fec, filtered));
  damage(options.path, "peerLbtFilterState", LdpPeerLbtFilterState({peerId, fec}, filtered));
  damage(options.path, "peerLbt", LdpPeerLbt({peerId, fec, 17}));
  read->localLbtNotifyCollection();
  read->localLbtFilterStateNotify(fec);
  read->peerLbtFilterStateNotify({peerId, fec});
  read->peerLbtNotify({peerId, fec, 17});
  EXPECT_THAT(reports, testing::AllOf(HasSubstr("localLbtFilterState"), HasSubstr("peerLbt: "),
                                      HasSubstr("peerLbtFilterState")));
  EXPECT_EQ(made->fecFilteredStates() + madePeers->bindingTables(), 0U);
  EXPECT_TRUE(made->mplsLabelSet(fec)->mplsLabel(16)) << "the others stay";
  local->mplsLabelSet(fec)->mplsLabelIs(21, true);
  writing->handleInitialized();  // writes the damaged ones again
  look();
  EXPECT_TRUE(made->fecFilteredState(fec) == filtered && made->mplsLabelSet(fec)->mplsLabel(21));
  EXPECT_EQ(madePeers->bindingTable(peerId)->fecFilteredState(fec), filtered);
  EXPECT_TRUE(madePeers->bindingTable(peerId)->mplsLabelSet(fec)->mplsLabel(17));
}

TEST_F(LdpLibSmTest, RowsThatSayNothingMakeNoPeer) {
  const auto sm = consumer();
  tarn->peerLbtFilterStateIs({});
  tarn->localLbtFilterStateIs({});
  tarn->peerLbtDel({peerId, fec, 16});
  EXPECT_EQ(madePeers->bindingTables() + made->fecFilteredStates(), 0U);
  tarn->peerLbtFilterStateIs({{LdpIdentifier(), fec}, Mpls::fecFilteredStateUnknown_});
  EXPECT_EQ(madePeers->bindingTable(LdpIdentifier())->fecFilteredStates(), 1U);
}

TEST_F(LdpLibSmTest, NullIsRefused) {
  const auto raised = [](auto call) { return Checks::raised<Forma::NullException>(call); };
  EXPECT_EQ(raised([&] { ldpLibProducerSmFactory(nullptr, peers, tarn); }), "null ValidPtr");
  EXPECT_EQ(raised([&] { ldpLibProducerSmFactory(local, nullptr, tarn); }), "null ValidPtr");
  EXPECT_EQ(raised([&] { ldpLibProducerSmFactory(local, peers, nullptr); }), "null ValidPtr");
  EXPECT_EQ(raised([&] { ldpLibConsumerSmFactory(nullptr, made, madePeers); }), "null ValidPtr");
  EXPECT_EQ(raised([&] { ldpLibConsumerSmFactory(tarn, nullptr, madePeers); }), "null ValidPtr");
  EXPECT_EQ(raised([&] { ldpLibConsumerSmFactory(tarn, made, nullptr); }), "null ValidPtr");
  const auto sm = producer();
  const auto text = [](const std::string& name) {
    return "null _" + name + " parameter to mutator for Ldp::LdpTarn::LdpLibProducerSm::" + name +
           " not allowed";
  };
  EXPECT_EQ(raised([&] { sm->localLbtLabelSetIs(nullptr); }), text("localLbtLabelSet"));
  EXPECT_EQ(raised([&] { sm->localLbtAdvertisedToSetIs(nullptr); }),
            text("localLbtAdvertisedToSet"));
  EXPECT_EQ(raised([&] { sm->peerLbtSetIs(nullptr); }), text("peerLbtSet"));
  EXPECT_EQ(raised([&] { sm->peerLbtLabelSetIs(peerId, nullptr); }), text("peerLbtLabelSet"));
}

/// A machine that has not made its first pass.
template <class Sm>
struct Unready : Sm {
  template <class... Arguments>
  explicit Unready(Arguments... arguments) : Sm(arguments...) {}
};

TEST_F(LdpLibSmTest, NothingIsWrittenBeforeTheFirstPass) {
  fill();
  const Forma::Ptr<LdpLibProducerSm> writing(new Unready<LdpLibProducerSm>(local, peers, tarn));
  local->mplsLabelSet(fec)->mplsLabelIs(30, true);
  local->mplsLabelSetIs(other)->mplsLabelIs(31, true);
  EXPECT_EQ(rows(), 0U);
  const Forma::Ptr<LdpLibConsumerSm> reading(new Unready<LdpLibConsumerSm>(tarn, made, madePeers));
  made->fecFilteredStateIs(other, filtered);
  writing->handleInitialized();
  EXPECT_EQ(rows(), 7U);
  reading->handleDelete();
  EXPECT_EQ(made->mplsLabelSets() + madePeers->bindingTables(), 0U);
  EXPECT_EQ(made->fecFilteredStates(), 1U);
}

using LdpLibSmDeathTest = LdpLibSmTest;

TEST_F(LdpLibSmDeathTest, ConsumersStartWithEmptyOutputs) {
  const auto dies = [](const std::string& condition) {
    return testing::AllOf(HasSubstr(" -- assertion failed(" + condition + "): "),
                          HasSubstr("ring trace, oldest first:"),
                          HasSubstr("the outputs for tarn hold "));
  };
  madePeers->bindingTableIs(peerId);
  EXPECT_DEATH(consumer(), dies("!peerLbtColl()->bindingTables()"));
  made->fecFilteredStateIs(fec, filtered);
  EXPECT_DEATH(consumer(), dies("!localLbt()->fecFilteredStates()"));
  made->advertisedToIs(fec);
  EXPECT_DEATH(consumer(), dies("!localLbt()->advertisedTos()"));
  made->mplsLabelSetIs(fec);
  EXPECT_DEATH(consumer(), dies("!localLbt()->mplsLabelSets()"));
}

}  // namespace
}  // namespace Ldp::LdpTarn
