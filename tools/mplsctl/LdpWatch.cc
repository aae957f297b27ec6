/// `mplsctl ldp watch`: a line for each fact that came or went, and for each link on which LDP
/// became ready, or is not any more. Writers may come and go meanwhile: what stays is not told.
#include <string_view>

#include "platform/forma/HashMap.h"
#include "tools/mplsctl/Commands.h"
#include "tools/mplsctl/Errors.h"
#include "tools/mplsctl/LdpReader.h"
#include "tools/mplsctl/Query.h"
#include "tools/mplsctl/WatchOutput.h"

namespace MplsCtl {

namespace {

using namespace Ldp::LdpTarn;

/// 0 while a fact is absent; else 1, and the number of a filter's state added.
using State = std::uint8_t;
constexpr State absent = 0;

// ---- Records ------------------------------------------------------------------------------------

constexpr Column localColumns[] = {{"fec", "FEC"}, {"label", "LABEL", Kind::number}};
constexpr Column advertisedColumns[] = {{"fec", "FEC"}, {"peer", "PEER"}};
constexpr Column localFilterColumns[] = {{"fec", "FEC"}, {"filter", "FILTER"}};
constexpr Column peerColumns[] = {
    {"peer", "PEER"}, {"fec", "FEC"}, {"label", "LABEL", Kind::number}};
constexpr Column peerFilterColumns[] = {{"peer", "PEER"}, {"fec", "FEC"}, {"filter", "FILTER"}};
constexpr Column linkColumns[] = {{"interface", "INTERFACE"}, {"ready", "READY", Kind::flag}};

constexpr RecordType localType{"localLabel", localColumns, 2};
constexpr RecordType advertisedType{"advertisement", advertisedColumns, 2};
constexpr RecordType localFilterType{"localFilter", localFilterColumns, 1};
constexpr RecordType peerType{"peerLabel", peerColumns, 3};
constexpr RecordType peerFilterType{"peerFilter", peerFilterColumns, 2};
constexpr RecordType linkType{"link", linkColumns, 1};

/// The facts of one table, as they were told.
template <class Key>
class Facts {
 public:
  /// `word` is what lines for people begin with.
  Facts(const RecordType& type, std::string_view word) : record_(type), word_(word) {}
  Record& record() { return record_; }
  std::string_view word() const { return word_; }
  void begin(const Key& key, State state) { known_.put(key, state); }
  void tell(const Key& key) { told_.insert(key); }
  /// Calls `print(op, key, state)` for the facts that are not as they were. `stateOf` says
  /// how they are.
  template <class StateOf, class Print>
  void tellDifferences(StateOf stateOf, Print print) {
    for (const Key& key : std::exchange(told_, {})) {
      const State* const was = known_.find(key);
      const State before = was != nullptr ? *was : absent;
      const State now = stateOf(key);
      if (now == before) continue;
      if (now == absent) known_.erase(key);
      else known_.put(key, now);
      print(before == absent ? "added" : now == absent ? "removed" : "changed", key, now);
    }
  }

 private:
  Record record_;
  const std::string_view word_;
  Forma::HashMap<Key, State> known_;
  std::set<Key> told_;
};

// ---- How facts are ------------------------------------------------------------------------------

State labelState(const Ldp::LabelBindingTable* table, const Mpls::FwdEqvClass& fec,
                 Netbase::MplsLabel label) {
  const auto* const set = table != nullptr ? table->mplsLabelSetFind(fec) : nullptr;
  return set != nullptr && set->mplsLabel(label) ? 1 : absent;
}

State filterState(const Ldp::LabelBindingTable* table, const Mpls::FwdEqvClass& fec) {
  const auto* const state = table != nullptr ? table->fecFilteredStateFind(fec) : nullptr;
  return state != nullptr ? static_cast<State>(1 + *state) : absent;
}

State stateOf(const LdpReader& reader, const LdpLocalLbtKey& key) {
  return labelState(&reader.local(), key.fwdEqvClass(), key.label());
}
State stateOf(const LdpReader& reader, const LdpLocalLbtAdvertisedToKey& key) {
  const auto* const set = reader.local().advertisedToFind(key.fwdEqvClass());
  return set != nullptr && set->identifierFind(key.ldpIdentifier()) != nullptr ? 1 : absent;
}
State stateOf(const LdpReader& reader, const Mpls::FwdEqvClass& fec) {
  return filterState(&reader.local(), fec);
}
State stateOf(const LdpReader& reader, const LdpPeerLbtKey& key) {
  return labelState(reader.peers().bindingTableFind(key.ldpIdentifier()), key.fwdEqvClass(),
                    key.label());
}
State stateOf(const LdpReader& reader, const LdpPeerLbtFilterStateKey& key) {
  return filterState(reader.peers().bindingTableFind(key.ldpIdentifier()), key.fwdEqvClass());
}

// ---- Lines --------------------------------------------------------------------------------------

std::string lineOf(const LdpLocalLbtKey& key) {
  return textOf(key.fwdEqvClass()) + " label " + labelText(key.label());
}
std::string lineOf(const LdpLocalLbtAdvertisedToKey& key) {
  return textOf(key.fwdEqvClass()) + " to " + textOf(key.ldpIdentifier());
}
std::string lineOf(const Mpls::FwdEqvClass& fec) { return textOf(fec); }
std::string lineOf(const LdpPeerLbtKey& key) {
  return textOf(key.ldpIdentifier()) + " " + lineOf(LdpLocalLbtKey(key.fwdEqvClass(), key.label()));
}
std::string lineOf(const LdpPeerLbtFilterStateKey& key) {
  return textOf(key.ldpIdentifier()) + " " + textOf(key.fwdEqvClass());
}

std::string stateText(State state) {
  return filterText(static_cast<Mpls::FecFilteredState>(state - 1));
}

void fillRecord(Record& record, const LdpLocalLbtKey& key, State /*state*/) {
  record.text(textOf(key.fwdEqvClass())).number(key.label().value());
}
void fillRecord(Record& record, const LdpLocalLbtAdvertisedToKey& key, State /*state*/) {
  record.text(textOf(key.fwdEqvClass())).text(textOf(key.ldpIdentifier()));
}
void fillRecord(Record& record, const Mpls::FwdEqvClass& fec, State state) {
  record.text(textOf(fec)).textOrNone(state == absent ? "" : stateText(state));
}
void fillRecord(Record& record, const LdpPeerLbtKey& key, State /*state*/) {
  record.text(textOf(key.ldpIdentifier())).text(textOf(key.fwdEqvClass()));
  record.number(key.label().value());
}
void fillRecord(Record& record, const LdpPeerLbtFilterStateKey& key, State state) {
  record.text(textOf(key.ldpIdentifier())).text(textOf(key.fwdEqvClass()));
  record.textOrNone(state == absent ? "" : stateText(state));
}

class Watch : public LdpLabelBindingTable::NotifieeConst {
 public:
  Watch(LdpReader& reader, const Options& options)
      : options_(options), reader_(reader), out_(options), links_(linksNow()) {
    const LdpLabelBindingTable& tables = *reader.tables();
    begin(tables.localLbtTable(), local_);
    begin(tables.localLbtAdvertisedToTable(), advertised_);
    begin(tables.localLbtFilterStateTable(), localFilters_);
    begin(tables.peerLbtTable(), peer_);
    begin(tables.peerLbtFilterStateTable(), peerFilters_);
    for (const auto& [link, ready] : links_) {
      fillLink(link.second, ready);
      out_.initial(link_);
    }
    out_.sync();
    notifierIs(reader.tables());
    reader.directory().onWriterIs([this] { handleWriter(); });
    tellInfo(options, "watching " + std::to_string(tables.localLbts() + tables.peerLbts()) +
                          " bindings in " + reader.directory().path() + ", " + reader.writerText());
  }

  using NotifieeConst::onLocalLbt;
  using NotifieeConst::onLocalLbtAdvertisedTo;
  using NotifieeConst::onLocalLbtFilterState;
  using NotifieeConst::onPeerLbt;
  using NotifieeConst::onPeerLbtFilterState;
  void onLocalLbt(const LdpLocalLbtKey& key) override { local_.tell(key); }
  void onLocalLbtAdvertisedTo(const LdpLocalLbtAdvertisedToKey& key) override {
    advertised_.tell(key);
  }
  void onLocalLbtFilterState(const Mpls::FwdEqvClass& fec) override { localFilters_.tell(fec); }
  void onPeerLbt(const LdpPeerLbtKey& key) override { peer_.tell(key); }
  void onPeerLbtFilterState(const LdpPeerLbtFilterStateKey& key) override {
    peerFilters_.tell(key);
  }

  /// At the end of a turn: the bindings are what the rows say.
  void handleTurnEnd() {
    tellDifferences(local_);
    tellDifferences(advertised_);
    tellDifferences(localFilters_);
    tellDifferences(peer_);
    tellDifferences(peerFilters_);
    tellLinks();
    out_.flush();
  }

 private:
  template <class Table, class Key>
  void begin(const Table& table, Facts<Key>& facts) {
    table.eachKey([&](const Key& key) {
      const State state = stateOf(reader_, key);
      facts.begin(key, state);
      facts.record().clear();
      fillRecord(facts.record(), key, state);
      if (state != absent) out_.initial(facts.record());
    });
  }
  template <class Key>
  void tellDifferences(Facts<Key>& facts) {
    facts.tellDifferences(
        [this](const Key& key) { return stateOf(reader_, key); },
        [&](std::string_view op, const Key& key, State now) { tell(facts, op, key, now); });
  }
  template <class Key>
  void tell(Facts<Key>& facts, std::string_view op, const Key& key, State now) {
    const bool isFilter = facts.word().ends_with("filter") && now != absent;
    const std::string line = std::string(facts.word()) + " " + std::string(op) + ": " +
                             lineOf(key) + (isFilter ? " " + stateText(now) : "");
    facts.record().clear();
    fillRecord(facts.record(), key, now);
    if (now == absent) out_.removed(op, facts.record(), line);
    else out_.changed(op, facts.record(), line);
  }

  LdpReader::Links linksNow() const { return reader_.links().value_or(LdpReader::Links()); }
  /// A link that went is not ready.
  void tellLinks() {
    LdpReader::Links now = linksNow();
    for (const auto& [link, ready] : now)
      if (const auto was = links_.find(link); ready != (was != links_.end() && was->second))
        tellLink(link.second, ready);
    for (const auto& [link, ready] : links_)
      if (ready && !now.contains(link)) tellLink(link.second, false);
    links_ = std::move(now);
  }
  void fillLink(const std::string& intf, bool ready) {
    link_.clear();
    link_.text(intf).flag(ready);
  }
  void tellLink(const std::string& intf, bool ready) {
    fillLink(intf, ready);
    out_.changed("changed", link_, (ready ? "link ready: " : "link not ready: ") + intf);
  }
  void handleWriter() {
    tellInfo(options_, reader_.directory().path() + ": " + reader_.writerText());
  }

  const Options& options_;
  LdpReader& reader_;
  WatchOutput out_;
  Record link_{linkType};
  Facts<LdpLocalLbtKey> local_{localType, "local"};
  Facts<LdpLocalLbtAdvertisedToKey> advertised_{advertisedType, "advertised"};
  Facts<Mpls::FwdEqvClass> localFilters_{localFilterType, "local filter"};
  Facts<LdpPeerLbtKey> peer_{peerType, "peer"};
  Facts<LdpPeerLbtFilterStateKey> peerFilters_{peerFilterType, "peer filter"};
  LdpReader::Links links_;
};

}  // namespace

RecordTypes ldpWatchTypes() {
  static constexpr const RecordType* types[] = {&localType, &advertisedType, &localFilterType,
                                                &peerType,  &peerFilterType, &linkType};
  return types;
}

int ldpWatch(const Options& options) {
  Agents::Program program(options, Agents::Program::Kind::follower);
  LdpReader reader(program, options);
  if (!reader.await()) return program.ended() ? program.exitCode() : reader.exitCode();
  Watch watch(reader, options);
  const auto id = program.loop().turnEndIs([&] { watch.handleTurnEnd(); });
  const int exitCode = follow(program);
  program.loop().turnEndDel(id);
  return exitCode;
}

}  // namespace MplsCtl
