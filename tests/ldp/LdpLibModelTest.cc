// Random changes of an LDP agent's bindings, with producers, whole agents, and consumers that go
// and come back: whatever happens the rows are those of a model, only keys whose rows changed are
// announced, and the reader's entities are the rows.
#include <gtest/gtest.h>

#include <map>
#include <memory>
#include <random>
#include <set>
#include <string>
#include <tuple>
#include <vector>

#include "ldp/LdpLibConsumerSm.h"
#include "ldp/LdpLibProducerSm.h"
#include "platform/kiln/EventLoop.h"
#include "tests/platform/tarn/Folder.h"
#include "tests/support/Checks.h"

namespace Ldp::LdpTarn {
namespace {

using Fec = Mpls::FwdEqvClass;

enum Kind { localLabel, localAdvertised, localFilter, peerLabel, peerFilter };
/// What names a fact: its kind, a peer, a FEC and a label, as far as the kind has them.
using Key = std::tuple<Kind, LdpIdentifier, Fec, Netbase::MplsLabel>;
/// The state of a filter; of other facts 1.
using Facts = std::map<Key, int>;

struct Bindings {
  Forma::Ptr<LabelBindingTable> local = labelBindingTableFactory("local", LdpIdentifier(1));
  Forma::Ptr<LabelBindingTableColl> peers = labelBindingTableCollFactory("peers");

  Facts facts() const {
    Facts all;
    for (const auto& [fec, set] : local->mplsLabelSetIteratorConst())
      for (const auto& [label, bound] : set->mplsLabelIteratorConst())
        if (bound) all[{localLabel, {}, fec, label}] = 1;
    for (const auto& [fec, set] : local->advertisedToIteratorConst())
      for (const auto& one : set->identifierIteratorConst())
        all[{localAdvertised, one.key, fec, {}}] = 1;
    for (const auto& [fec, state] : local->fecFilteredStateIteratorConst())
      all[{localFilter, {}, fec, {}}] = state;
    for (const auto& [id, peer] : peers->bindingTableIteratorConst()) {
      for (const auto& [fec, set] : peer->mplsLabelSetIteratorConst())
        for (const auto& [label, bound] : set->mplsLabelIteratorConst())
          if (bound) all[{peerLabel, id, fec, label}] = 1;
      for (const auto& [fec, state] : peer->fecFilteredStateIteratorConst())
        all[{peerFilter, id, fec, {}}] = state;
    }
    return all;
  }
  /// Whether there is no container without anything in it, and no label source.
  bool isLean() const {
    bool lean = true;
    const auto check = [&lean](const LabelBindingTable& table) {
      for (const auto& [fec, set] : table.mplsLabelSetIteratorConst())
        lean &= set->mplsLabels() != 0 && set->labelSource() == ldpLabelSourceUnknown_;
      for (const auto& one : table.advertisedToIteratorConst())
        lean &= one.value->identifiers() != 0;
    };
    check(*local);
    for (const auto& [id, peer] : peers->bindingTableIteratorConst()) {
      check(*peer);
      lean &= peer->mplsLabelSets() + peer->fecFilteredStates() != 0;
    }
    return lean;
  }
};

Facts rowsOf(const LdpLabelBindingTable& tarn) {
  Facts all;
  for (const auto& [key, row] : tarn.localLbtIteratorConst())
    all[{localLabel, {}, key.fwdEqvClass(), key.label()}] = 1;
  for (const auto& [key, row] : tarn.localLbtAdvertisedToIteratorConst())
    all[{localAdvertised, key.ldpIdentifier(), key.fwdEqvClass(), {}}] = 1;
  for (const auto& [fec, row] : tarn.localLbtFilterStateIteratorConst())
    all[{localFilter, {}, fec, {}}] = row.fecFilteredState();
  for (const auto& [key, row] : tarn.peerLbtIteratorConst())
    all[{peerLabel, key.ldpIdentifier(), key.fwdEqvClass(), key.label()}] = 1;
  for (const auto& [key, row] : tarn.peerLbtFilterStateIteratorConst())
    all[{peerFilter, key.ldpIdentifier(), key.fwdEqvClass(), {}}] = row.fecFilteredState();
  return all;
}

/// Writes down the keys that are announced.
struct Watch : LdpLabelBindingTable::NotifieeConst {
  using NotifieeConst::onLocalLbt, NotifieeConst::onLocalLbtAdvertisedTo,
      NotifieeConst::onLocalLbtFilterState, NotifieeConst::onPeerLbt,
      NotifieeConst::onPeerLbtFilterState;
  void onLocalLbt(const LdpLocalLbtKey& key) override {
    told.insert({localLabel, {}, key.fwdEqvClass(), key.label()});
  }
  void onLocalLbtAdvertisedTo(const LdpLocalLbtAdvertisedToKey& key) override {
    told.insert({localAdvertised, key.ldpIdentifier(), key.fwdEqvClass(), {}});
  }
  void onLocalLbtFilterState(const Fec& fec) override { told.insert({localFilter, {}, fec, {}}); }
  void onPeerLbt(const LdpPeerLbtKey& key) override {
    told.insert({peerLabel, key.ldpIdentifier(), key.fwdEqvClass(), key.label()});
  }
  void onPeerLbtFilterState(const LdpPeerLbtFilterStateKey& key) override {
    told.insert({peerFilter, key.ldpIdentifier(), key.fwdEqvClass(), {}});
  }
  std::set<Key> told;
};

class LdpLibModelTest : public ::testing::TestWithParam<unsigned> {
 protected:
  LdpLibModelTest() : random_(GetParam()) {
    startAgent();
    FormaTarn::attachReader(*read_, reader_);
    watch_.notifierIs(read_);
  }
  unsigned below(unsigned n) { return static_cast<unsigned>(random_() % n); }
  Fec anyFec() { return fecs_[below(static_cast<unsigned>(fecs_.size()))]; }
  LdpIdentifier anyId() { return LdpIdentifier(below(3)); }
  Netbase::MplsLabel anyLabel() { return 16 + below(3); }

  // ---- The agent, and what its rows are by the model --------------------------------------------

  /// A process begins that finds the rows of the one before, and perhaps other bindings.
  void startAgent() {
    producer_ = nullptr;
    tarn_ = ldpLabelBindingTableFactory("written");
    directory_ = nullptr;
    Tarn::WriterDirectory::Options options;
    options.path = folder_ / "ldp";
    directory_ = std::make_unique<Tarn::WriterDirectory>(loop_, options, report_);
    FormaTarn::attachWriter(*tarn_, *directory_, 8);
  }
  void startProducer() {
    producer_ = nullptr;
    producer_ = ldpLibProducerSmFactory(written_.local, written_.peers, tarn_);
    const Facts facts = written_.facts();
    for (const auto& [key, value] : Facts(rows_))
      if (!facts.contains(key)) rowIs(key, facts);
    for (const auto& one : facts) rowIs(one.first, facts);
  }
  /// A change of one member was announced: its row is there as the fact is.
  void member(const Key& key) {
    if (producer_) rowIs(key, written_.facts());
  }
  void rowIs(const Key& key, const Facts& facts) {
    const auto fact = facts.find(key);
    const auto row = std::as_const(rows_).find(key);
    const bool same = fact == facts.end() ? row == rows_.end()
                                          : row != rows_.end() && row->second == fact->second;
    if (same) return;
    mayBeTold_.insert(key);
    if (fact == facts.end()) rows_.erase(row);
    else rows_[key] = fact->second;
  }

  void step() {
    const LabelBindingTable* none = nullptr;
    const unsigned what = below(100);
    if (what < 30) changeLabel(*written_.local, none, anyFec());
    else if (what < 45) changeAdvertised(anyFec());
    else if (what < 55) changeFilter(*written_.local, none, anyFec());
    else if (what < 90) changePeer(anyId());
    else if (what < 92) written_.local->mplsLabelSetDel(anyFec());  // its rows stay
    else if (what < 94) written_.local->advertisedToDel(anyFec());
    else if (what < 96) written_.peers->bindingTableDel(anyId());
    else if (what < 98) startProducer();
    else if (what < 99) producer_ = nullptr;
    else startAgent();
  }
  /// Equal writes, and removals of what is not there, are silent.
  template <class Look, class Change>
  static bool changes(Look look, Change change) {
    const auto before = look();
    change();
    return look() != before;
  }
  template <class T>
  static int flagOf(const T* value) {
    return value == nullptr ? -1 : static_cast<int>(*value);
  }
  void changePeer(LdpIdentifier id) {
    const auto peer = written_.peers->bindingTableIs(id);
    const unsigned what = below(20);
    if (what == 0) peer->mplsLabelSetDel(anyFec());
    else if (what < 6) changeFilter(*peer, peer.get(), anyFec());
    else changeLabel(*peer, peer.get(), anyFec());
  }
  void changeLabel(LabelBindingTable& table, const LabelBindingTable* peer, Fec fec) {
    const auto set = table.mplsLabelSetIs(fec);
    const Netbase::MplsLabel label = anyLabel();
    const auto change = [&] {
      if (below(3) != 0) set->mplsLabelIs(label, below(4) != 0);
      else set->mplsLabelDel(label);
    };
    set->labelSourceIs(ldpLabelSourceLocal_);
    const Key key = peer == nullptr ? Key(localLabel, {}, fec, label)
                                    : Key(peerLabel, peer->ldpIdentifier(), fec, label);
    if (changes([&] { return flagOf(set->mplsLabelFind(label)); }, change)) member(key);
    if (set->mplsLabels() == 0 && below(2) != 0) table.mplsLabelSetDel(fec);
  }
  void changeAdvertised(Fec fec) {
    const auto set = written_.local->advertisedToIs(fec);
    const LdpIdentifier id = anyId();
    const auto change = [&] {
      if (below(3) != 0) set->identifierIs(id, below(2) != 0);
      else set->identifierDel(id);
    };
    if (changes([&] { return flagOf(set->identifierFind(id)); }, change))
      member({localAdvertised, id, fec, {}});
  }
  void changeFilter(LabelBindingTable& table, const LabelBindingTable* peer, Fec fec) {
    const auto change = [&] {
      if (below(3) != 0)
        table.fecFilteredStateIs(fec, static_cast<Mpls::FecFilteredState>(below(3)));
      else table.fecFilteredStateDel(fec);
    };
    const Key key = peer == nullptr ? Key(localFilter, {}, fec, {})
                                    : Key(peerFilter, peer->ldpIdentifier(), fec, {});
    if (changes([&] { return flagOf(table.fecFilteredStateFind(fec)); }, change)) member(key);
  }

  // ---- The reader -------------------------------------------------------------------------------

  void startConsumer() {
    consumer_ = nullptr;
    made_ = Bindings();
    consumer_ = ldpLibConsumerSmFactory(read_, made_.local, made_.peers);
  }
  void look() {
    directory_->ring();
    loop_.runUntilIdle();
    reader_.look();
    EXPECT_EQ(rowsOf(*tarn_), rows_);
    EXPECT_EQ(rowsOf(*read_), rows_);
    for (const Key& key : std::exchange(watch_.told, {}))
      EXPECT_TRUE(mayBeTold_.contains(key)) << "announced without a change";
    mayBeTold_.clear();
    if (!consumer_) return;
    Facts readable = rows_;
    for (const Kind kind : {localFilter, peerFilter})  // such a row is as good as none
      if (const auto row = readable.find({kind, {}, {}, {}});
          row != readable.end() && row->second == Mpls::fecFilteredStateUnknown_)
        readable.erase(row);
    EXPECT_EQ(made_.facts(), readable);
    EXPECT_TRUE(made_.isLean());
  }

  std::mt19937 random_;
  std::vector<Fec> fecs_ = {Fec(), Checks::parsed<Fec>("10.0.0.0/8"), Checks::parsed<Fec>("::/0")};
  const Tarn::Folder folder_;
  const Tarn::Report report_ = [](const std::string& text) {
    if (text.find("No such file") == std::string::npos) ADD_FAILURE() << text;
  };
  Kiln::EventLoop loop_;
  Bindings written_;
  Forma::Ptr<LdpLabelBindingTable> tarn_;
  std::unique_ptr<Tarn::WriterDirectory> directory_;
  Forma::Ptr<LdpLibProducerSm> producer_;
  Facts rows_;               // what the tables hold by the model
  std::set<Key> mayBeTold_;  // whose rows were changed since the reader looked

  Tarn::ReaderDirectory reader_{loop_, folder_ / "ldp", report_};
  const Forma::Ptr<LdpLabelBindingTable> read_ = ldpLabelBindingTableFactory("read");
  Watch watch_;
  Bindings made_;
  Forma::Ptr<LdpLibConsumerSm> consumer_;
};

TEST_P(LdpLibModelTest, ReadersHaveWhatTheAgentPublished) {
  for (int i = 0; i < 3000 && !HasFailure(); ++i) {
    SCOPED_TRACE(i);
    step();
    const unsigned what = below(30);
    if (what < 10) look();
    if (what == 10) startConsumer();
    if (what == 11) consumer_ = nullptr;
  }
  startProducer();
  look();
  EXPECT_EQ(rows_, written_.facts());
  startConsumer();
  const Facts made = made_.facts();
  consumer_->handleDelete();
  EXPECT_TRUE(made_.facts().empty() && made_.isLean());
  consumer_->handleInitialized();
  EXPECT_EQ(made_.facts(), made);
}

INSTANTIATE_TEST_SUITE_P(Seeds, LdpLibModelTest, ::testing::Range(1U, 9U));

}  // namespace
}  // namespace Ldp::LdpTarn
