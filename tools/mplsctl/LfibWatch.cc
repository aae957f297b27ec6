/// `mplsctl lfib watch`: a line for each route that was written or removed, with what it leads to
/// now. Writers may come and go meanwhile: rows that stay are not told.
#include <array>
#include <iostream>
#include <set>
#include <string_view>

#include "agents/common/ExitCode.h"
#include "agents/common/Printable.h"
#include "platform/forma/HashMap.h"
#include "tools/mplsctl/LfibReader.h"

namespace MplsCtl {

namespace {

/// Follows one directory.
class Watch : public Mpls::LfibStatus::NotifieeConst {
 public:
  Watch(LfibReader& reader, LfibDirectory& directory, bool json, bool named)
      : reader_(reader), directory_(directory), json_(json), named_(named) {
    notifierIs(directory.lfibPtr());
    directory.lfib().lfibRouteTable().eachKey(
        [this](const Mpls::RouteKey& key) { known_.put(key, true); });
    directory.tables().onWriterIs([this] { handleWriter(); });
    reader.log().say("watching " + std::to_string(known_.size()) + " routes in " +
                     directory.path() + ", " + directory.writerText());
  }

  using NotifieeConst::onLfibRoute;
  using NotifieeConst::onMplsVia;
  using NotifieeConst::onViaSet;
  void onLfibRoute(const Mpls::RouteKey& key) override { told_.insert(key); }
  void onViaSet(const Mpls::LfibViaSetKey& /*key*/) override { viasCame_ = true; }
  void onMplsVia(const Mpls::LfibViaKey& /*key*/) override { viasCame_ = true; }

  /// At the end of a turn: all tables have told what changed.
  void handleTurnEnd() {
    if (std::exchange(viasCame_, false))
      std::erase_if(broken_, [this](auto& key) { return mend(key); });
    for (const Mpls::RouteKey& key : std::exchange(told_, {})) handleRoute(key);
    std::cout.flush();
  }

 private:
  /// What went is told again now and then, in case somebody saw it come in between.
  void handleRoute(const Mpls::RouteKey& key) {
    const auto entry = lfibEntryOf(directory_.lfib(), key);
    if (!entry) {
      if (known_.erase(key)) print(Event::removed, key, entry);
      return;
    }
    if (!entry->isUsable()) broken_.insert(key);
    print(known_.insert(key, true).second ? Event::added : Event::changed, key, entry);
  }
  /// Whether a route that had no usable via is not to be looked at any more. Its row was not
  /// written when its vias came, so nobody else tells of it.
  bool mend(const Mpls::RouteKey& key) {
    if (told_.contains(key)) return true;
    const auto entry = lfibEntryOf(directory_.lfib(), key);
    if (!entry || !entry->isUsable()) return !entry;
    print(Event::changed, key, entry);
    return true;
  }

  enum class Event { added, changed, removed };
  void print(Event event, const Mpls::RouteKey& key, const std::optional<LfibEntry>& entry) const {
    static constexpr std::array<std::string_view, 3> words{"added", "changed", "removed"};
    const std::string_view word = words[static_cast<std::size_t>(event)];
    if (json_) std::cout << Agents::jsonText(json(event, key, entry)) << '\n';
    else std::cout << prefix() << word << ": " << (entry ? lfibLine(*entry) : textOf(key)) << '\n';
  }
  std::string prefix() const {
    return named_ ? Agents::printable(directory_.path()) + ": " : std::string();
  }
  Agents::Json json(Event event, const Mpls::RouteKey& key,
                    const std::optional<LfibEntry>& entry) const {
    static constexpr std::array<std::string_view, 3> events{"routeAdded", "routeChanged",
                                                            "routeRemoved"};
    Agents::Json json = {{"event", events[static_cast<std::size_t>(event)]},
                         {"directory", directory_.path()}};
    if (entry) json.update(lfibJson(*entry));
    else json.update({{"label", key.topLabel().value()}, {"metric", key.metric().value()}});
    return json;
  }
  void handleWriter() { reader_.log().say(directory_.path() + ": " + directory_.writerText()); }

  LfibReader& reader_;
  LfibDirectory& directory_;
  const bool json_;
  const bool named_;
  Forma::HashMap<Mpls::RouteKey, bool> known_;  // the routes that are there
  std::set<Mpls::RouteKey> told_;
  std::set<Mpls::RouteKey> broken_;  // printed without a usable via
  bool viasCame_ = false;
};

}  // namespace

int lfibWatch(const Options& options) {
  LfibReader reader(options, true);
  if (!reader.await()) return Agents::exitDatabase;
  std::vector<std::unique_ptr<Watch>> watches;
  for (const auto& one : reader.directories())
    watches.push_back(
        std::make_unique<Watch>(reader, *one, options.json, reader.directories().size() > 1));
  const auto id = reader.loop().turnEndIs([&] {
    for (const auto& watch : watches) watch->handleTurnEnd();
  });
  const int exitCode = reader.run();
  reader.loop().turnEndDel(id);
  return exitCode;
}

}  // namespace MplsCtl
