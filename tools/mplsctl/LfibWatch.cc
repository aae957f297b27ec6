/// `mplsctl lfib watch`: a line for each route that was written or removed, with what it leads to
/// now. Writers may come and go meanwhile: rows that stay are not told.
#include <set>
#include <string_view>

#include "platform/forma/HashMap.h"
#include "tools/mplsctl/Errors.h"
#include "tools/mplsctl/LfibRecords.h"
#include "tools/mplsctl/WatchOutput.h"

namespace MplsCtl {

namespace {

/// Follows one directory.
class Watch : public Mpls::LfibStatus::NotifieeConst {
 public:
  Watch(const Options& options, LfibDirectory& directory, WatchOutput& out, bool named)
      : options_(options), directory_(directory), out_(out), named_(named) {
    notifierIs(directory.lfibPtr());
    eachLfibRecord(directory, [&out](const Record& record) {
      out.initial(record);
      return true;
    });
    directory.lfib().lfibRouteTable().eachKey(
        [this](const Mpls::RouteKey& key) { known_.put(key, true); });
    directory.tables().onWriterIs([this] { handleWriter(); });
    tellInfo(options, "watching " + std::to_string(known_.size()) + " routes in " +
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
  }

 private:
  /// What went is told again now and then, in case somebody saw it come in between.
  void handleRoute(const Mpls::RouteKey& key) {
    const auto entry = lfibEntryOf(directory_.lfib(), key);
    if (!entry) {
      if (known_.erase(key)) tellRemoved(key);
      return;
    }
    if (!entry->isUsable()) broken_.insert(key);
    tell(known_.insert(key, true).second ? "added" : "changed", *entry);
  }
  /// Whether a route that had no usable via is not to be looked at any more. Its row was not
  /// written when its vias came, so nobody else tells of it.
  bool mend(const Mpls::RouteKey& key) {
    if (told_.contains(key)) return true;
    const auto entry = lfibEntryOf(directory_.lfib(), key);
    if (!entry || !entry->isUsable()) return !entry;
    tell("changed", *entry);
    return true;
  }

  void tell(std::string_view op, const LfibEntry& entry) {
    fillRecord(record_, directory_.path(), entry);
    out_.changed(op, record_, prefix() + std::string(op) + ": " + lfibLine(entry));
  }
  void tellRemoved(const Mpls::RouteKey& key) {
    fillKey(record_, directory_.path(), key);
    out_.removed("removed", record_, prefix() + "removed: " + textOf(key));
  }
  std::string prefix() const { return named_ ? directory_.path() + ": " : std::string(); }
  void handleWriter() { tellInfo(options_, directory_.path() + ": " + directory_.writerText()); }

  const Options& options_;
  LfibDirectory& directory_;
  WatchOutput& out_;
  const bool named_;
  Record record_{lfibRouteType};
  Forma::HashMap<Mpls::RouteKey, bool> known_;  // the routes that are there
  std::set<Mpls::RouteKey> told_;
  std::set<Mpls::RouteKey> broken_;  // printed without a usable via
  bool viasCame_ = false;
};

}  // namespace

int lfibWatch(const Options& options) {
  LfibReader reader(options, true);
  if (!reader.await()) return reader.exitCode();
  WatchOutput out(options);
  std::vector<std::unique_ptr<Watch>> watches;
  for (const auto& one : reader.directories())
    watches.push_back(std::make_unique<Watch>(options, *one, out, reader.directories().size() > 1));
  out.sync();
  const auto id = reader.loop().turnEndIs([&] {
    for (const auto& watch : watches) watch->handleTurnEnd();
    out.flush();
  });
  const int exitCode = reader.run();
  reader.loop().turnEndDel(id);
  return exitCode;
}

}  // namespace MplsCtl
