/// The merge as people look at it: each route with its source, each conflict with its claimants.
///
/// Thread    that of the state machine.
#pragma once

#include <map>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include "agents/static-routes/RouteFile.h"
#include "mpls/routeconfig/RouteConfigMergeSm.h"

namespace StaticRoutes {

struct RouteView {
  std::string source;
  Vias vias;
  bool operator==(const RouteView&) const = default;
};

/// The sources that claim one key, in order; two at least.
using Claimants = std::vector<std::string>;

struct MergedView {
  std::map<Mpls::RouteKey, RouteView> routes;
  std::map<Mpls::RouteKey, Claimants> conflicts;
};

/// One step from what was shown to what is.
struct Change {
  enum class Kind {
    routeRemoved,
    conflictEnded,
    routeAdded,
    routeChanged,
    conflictBegan,
    conflictChanged
  };
  Kind kind;
  Mpls::RouteKey key;
  RouteView route = {};      ///< now; as it was when removed
  Claimants claimants = {};  ///< now; as they were when the conflict ended
};

/// The route that is in force at `key`, or nothing.
std::optional<RouteView> routeAt(const Mpls::RouteConfigMergeSm& sm, const Mpls::RouteKey& key);
/// Who claims `key`, if more than one does.
Claimants claimantsOf(const Mpls::RouteConfigMergeSm& sm, const Mpls::RouteKey& key);

/// Keeps the view of a merge, and tells how it changes. Hears of routes from the merged table and
/// of conflicts from the inputs.
class MergeFollower {
 public:
  /// Takes the first view. `inputs` are all sources of the merge.
  MergeFollower(Forma::Ptr<Mpls::RouteConfigMergeSm> sm,
                const std::vector<Forma::Ptr<Mpls::RouteConfigInput>>& inputs);

  const MergedView& view() const { return view_; }
  /// What changed since the last call, by key; brings the view up to date.
  std::vector<Change> takeChanges();

 private:
  template <class Table>
  struct Reactor : Table::NotifieeConst {
    explicit Reactor(MergeFollower& follower) : owner(follower) {}
    void onRoute(const Mpls::RouteKey& key) override { owner.told_.insert(key); }
    MergeFollower& owner;
  };
  using InputReactor = Reactor<Mpls::RouteConfigInput>;

  void readAll();
  void addRouteChange(std::vector<Change>& changes, const Mpls::RouteKey& key);
  void addConflictChange(std::vector<Change>& changes, const Mpls::RouteKey& key);

  Forma::Ptr<Mpls::RouteConfigMergeSm> sm_;
  MergedView view_;
  std::set<Mpls::RouteKey> told_;
  Reactor<Mpls::RouteConfig> mergedReactor_;
  std::vector<std::unique_ptr<InputReactor>> inputReactors_;
};

}  // namespace StaticRoutes
