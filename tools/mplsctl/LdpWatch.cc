/// `mplsctl ldp watch`: a line for each fact that came or went, and for each link on which LDP
/// became ready, or is not any more. Writers may come and go meanwhile: what stays is not told.
#include <array>
#include <iostream>
#include <string_view>

#include "agents/common/ExitCode.h"
#include "agents/common/Printable.h"
#include "platform/forma/HashMap.h"
#include "tools/mplsctl/LdpReader.h"

namespace MplsCtl {

namespace {

using namespace Ldp::LdpTarn;
using Agents::Json;

/// 0 while a fact is absent; else 1, and the number of a filter's state added.
using State = std::uint8_t;
constexpr State absent = 0;

/// What a line says of one kind of facts.
struct Kind {
  std::string_view word;   ///< "local"
  std::string_view event;  ///< of a JSON line: "local"
};

/// The facts of one table, as they were told.
template <class Key>
class Facts {
 public:
  explicit Facts(Kind kind) : kind_(kind) {}
  void begin(const Key& key, State state) { known_.put(key, state); }
  void tell(const Key& key) { told_.insert(key); }
  /// Calls `print(kind, word, key, state)` for the facts that are not as they were. `stateOf` says
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
      print(kind_, before == absent ? "added" : now == absent ? "removed" : "changed", key, now);
    }
  }

 private:
  const Kind kind_;
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

Json jsonOf(const LdpLocalLbtKey& key) {
  return {{"fec", textOf(key.fwdEqvClass())}, {"label", key.label().value()}};
}
Json jsonOf(const LdpLocalLbtAdvertisedToKey& key) {
  return {{"fec", textOf(key.fwdEqvClass())}, {"peer", textOf(key.ldpIdentifier())}};
}
Json jsonOf(const Mpls::FwdEqvClass& fec) { return {{"fec", textOf(fec)}}; }
Json jsonOf(const LdpPeerLbtKey& key) {
  Json json = {{"peer", textOf(key.ldpIdentifier())}};
  json.update(jsonOf(LdpLocalLbtKey(key.fwdEqvClass(), key.label())));
  return json;
}
Json jsonOf(const LdpPeerLbtFilterStateKey& key) {
  return {{"peer", textOf(key.ldpIdentifier())}, {"fec", textOf(key.fwdEqvClass())}};
}

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

class Watch : public LdpLabelBindingTable::NotifieeConst {
 public:
  Watch(Agents::Program& program, LdpReader& reader, bool json)
      : program_(program), reader_(reader), json_(json), links_(linksNow()) {
    const LdpLabelBindingTable& tables = *reader.tables();
    begin(tables.localLbtTable(), local_);
    begin(tables.localLbtAdvertisedToTable(), advertised_);
    begin(tables.localLbtFilterStateTable(), localFilters_);
    begin(tables.peerLbtTable(), peer_);
    begin(tables.peerLbtFilterStateTable(), peerFilters_);
    notifierIs(reader.tables());
    reader.directory().onWriterIs([this] { handleWriter(); });
    program.log().say("watching " + std::to_string(tables.localLbts() + tables.peerLbts()) +
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
    std::cout.flush();
  }

 private:
  template <class Table, class Key>
  void begin(const Table& table, Facts<Key>& facts) {
    table.eachKey([&](const Key& key) { facts.begin(key, stateOf(reader_, key)); });
  }
  template <class Key>
  void tellDifferences(Facts<Key>& facts) {
    facts.tellDifferences([this](const Key& key) { return stateOf(reader_, key); },
                          [this](const Kind& kind, std::string_view word, const Key& key,
                                 State now) { print(kind, word, key, now); });
  }
  template <class Key>
  void print(const Kind& kind, std::string_view word, const Key& key, State now) const {
    const bool isFilter = kind.word.find("filter") != std::string_view::npos && now != absent;
    if (json_) {
      Json json = {{"event", kind.event}, {"change", word}};
      json.update(jsonOf(key));
      if (isFilter) json["filter"] = stateText(now);
      std::cout << Agents::jsonText(json) << '\n';
    } else {
      std::cout << kind.word << ' ' << word << ": " << lineOf(key)
                << (isFilter ? " " + stateText(now) : "") << '\n';
    }
  }

  LdpReader::Links linksNow() const { return reader_.links().value_or(LdpReader::Links()); }
  /// A link that went is not ready.
  void tellLinks() {
    LdpReader::Links now = linksNow();
    for (const auto& [link, ready] : now)
      if (const auto was = links_.find(link); ready != (was != links_.end() && was->second))
        printLink(link.second, ready);
    for (const auto& [link, ready] : links_)
      if (ready && !now.contains(link)) printLink(link.second, false);
    links_ = std::move(now);
  }
  void printLink(const std::string& intf, bool ready) const {
    if (json_)
      std::cout << Agents::jsonText({{"event", "link"}, {"interface", intf}, {"ready", ready}})
                << '\n';
    else
      std::cout << (ready ? "link ready: " : "link not ready: ") << Agents::printable(intf) << '\n';
  }
  void handleWriter() {
    program_.log().say(reader_.directory().path() + ": " + reader_.writerText());
  }

  Agents::Program& program_;
  LdpReader& reader_;
  const bool json_;
  Facts<LdpLocalLbtKey> local_{{"local", "localLabel"}};
  Facts<LdpLocalLbtAdvertisedToKey> advertised_{{"advertised", "advertisement"}};
  Facts<Mpls::FwdEqvClass> localFilters_{{"local filter", "localFilter"}};
  Facts<LdpPeerLbtKey> peer_{{"peer", "peerLabel"}};
  Facts<LdpPeerLbtFilterStateKey> peerFilters_{{"peer filter", "peerFilter"}};
  LdpReader::Links links_;
};

}  // namespace

int ldpWatch(const Options& options) {
  Agents::Program program(options, Agents::Program::Kind::follower);
  LdpReader reader(program, options);
  if (!reader.await()) return program.ended() ? program.exitCode() : Agents::exitDatabase;
  Watch watch(program, reader, options.json);
  const auto id = program.loop().turnEndIs([&] { watch.handleTurnEnd(); });
  const int exitCode = program.run();
  program.loop().turnEndDel(id);
  return exitCode;
}

}  // namespace MplsCtl
