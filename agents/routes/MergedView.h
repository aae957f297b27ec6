/// The merge as people look at it: each route with its source, each conflict with its claimants.
///
/// Thread    that of the merged configuration and its inputs.
/// Inputs    the merged configuration and the inputs of the merge, of this process or replicated.
///           They may be of different moments: the merge is then a little behind its inputs.
#pragma once

#include <map>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include "agents/routes/RouteFile.h"
#include "mpls/entities/RouteConfig.h"

namespace StaticRoutes {

struct RouteView {
  std::string source;  ///< empty when no single input states the route as it is
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

/// An input, and what people call it.
struct NamedInput {
  std::string name;
  Forma::Ptr<Mpls::RouteConfigInput const> input;
};

/// Keeps the view of a merge, and tells how it changes. Hears of routes from the merged
/// configuration and of conflicts from the inputs.
///
/// Cost      that of one change grows with the number of inputs, not with that of routes.
class MergeFollower {
 public:
  /// Takes the first view. `inputs` are all inputs of the merge.
  MergeFollower(Forma::Ptr<Mpls::RouteConfig const> merged, std::vector<NamedInput> inputs);

  const MergedView& view() const { return view_; }
  /// An input that joins the merge.
  void inputIs(NamedInput input);
  /// What changed since the last call, by key; brings the view up to date.
  std::vector<Change> takeChanges();
  bool changed() const { return !told_.empty(); }

 private:
  template <class Table>
  struct Reactor : Table::NotifieeConst {
    explicit Reactor(MergeFollower& follower) : owner(follower) {}
    void onRoute(const Mpls::RouteKey& key) override { owner.told_.insert(key); }
    MergeFollower& owner;
  };
  using InputReactor = Reactor<Mpls::RouteConfigInput>;

  void watch(NamedInput input);
  /// The route that is in force at `key`, or nothing.
  std::optional<RouteView> routeAt(const Mpls::RouteKey& key) const;
  std::string sourceOf(const Mpls::RouteKey& key, const Vias& vias) const;
  /// Who claims `key`, if more than one does.
  Claimants claimantsOf(const Mpls::RouteKey& key) const;
  void addRouteChange(std::vector<Change>& changes, const Mpls::RouteKey& key);
  void addConflictChange(std::vector<Change>& changes, const Mpls::RouteKey& key);

  Forma::Ptr<Mpls::RouteConfig const> merged_;
  std::vector<NamedInput> inputs_;  // by name
  MergedView view_;
  std::set<Mpls::RouteKey> told_;
  Reactor<Mpls::RouteConfig> mergedReactor_;
  std::vector<std::unique_ptr<InputReactor>> inputReactors_;
};

}  // namespace StaticRoutes
