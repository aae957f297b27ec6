/// The reverse maps of the LFIB: which routes use a via, and which use a via set; and the backlog
/// of routes that somebody has to look at again.
///
/// Whoever derives something from each route must look again when the route changes, its via set,
/// or a via in that. Each such change puts the routes it touches into the backlog. Rows need not be
/// there: a route is mapped to a via set that is not written yet, and comes back when it is.
///
/// Of the via tables only `pwVia` is followed. A change of another via reaches the backlog when its
/// writer rewrites the via set or the route as well, or when who cares calls handleVia().
///
/// Thread    the agent's event thread; no other.
/// Inputs    the tables of the LFIB, read through a notifiee; never written.
/// Outputs   the backlog, to which keys are added; and the maps, which belong to the machine.
/// Restart   built by one full pass; aborts when the backlog is not empty before it.
/// Cost      a change costs what the routes it touches cost, whatever the number of others.
/// Memory    at most 150 bytes a route, with ten routes and three vias to a via set.
#pragma once

#include "mpls/lfib/LfibStatus.h"
#include "mpls/lfib/LfibTrackingSets.h"
#include "mpls/lfib/LfibTrackingStatus.h"
#include "platform/forma/HashMap.h"

namespace Mpls {

/// The steps are public for those who know of changes that the machine does not follow. Those of
/// mappings and of the backlog abort before handleInitialized(); notifications are ignored until
/// then. What an observer of the backlog raises is raised when all of a step is done.
class MPLS_EXPORT LfibTrackingSm : public Forma::PtrInterface {
 public:
  using RouteKeySet = LfibViaSetKeyToRouteKeySet;
  using ViaKeySet = LfibViaSetKeyToLfibViaKeySet;
  using ViaSetKeySet = LfibViaKeyToLfibViaSetKeySet;

  ~LfibTrackingSm() override;

  const Forma::Name& name() const { return name_; }
  /// Null after lfibStatusDel().
  const Forma::Ptr<LfibStatus const>& lfibStatus() const { return lfibStatus_; }
  /// Turns to another status, and handles all rows there: all its routes go to the backlog. What
  /// the former one had and this one has not keeps its mapping. Null is refused.
  void lfibStatusIs(Forma::Ptr<LfibStatus const> lfibStatus);
  /// Follows no status any more; the maps stay. To the steps all tables are empty from then on.
  void lfibStatusDel();
  const Forma::Ptr<LfibTrackingStatus>& lfibTrackingStatus() const { return trackingStatus_; }
  bool initialized() const { return initialized_; }

  // ---- The maps ---------------------------------------------------------------------------------
  // Keys that are not there give null, or a default key. Whole maps are for walks; they change with
  // the tables, and may during a walk.

  LfibViaSetKey routeKeyToViaSetKey(const RouteKey& key) const;
  const auto& routeKeyToViaSetKeyMap() const { return routeKeyToViaSetKey_; }
  Forma::Ptr<RouteKeySet const> viaSetKeyToRouteKeySet(const LfibViaSetKey& key) const;
  const auto& viaSetKeyToRouteKeySetMap() const { return viaSetKeyToRouteKeySet_; }
  Forma::Ptr<ViaKeySet const> viaSetKeyToViaKeySet(const LfibViaSetKey& key) const;
  const auto& viaSetKeyToViaKeySetMap() const { return viaSetKeyToViaKeySet_; }
  Forma::Ptr<ViaSetKeySet const> viaKeyToViaSetKeySet(const LfibViaKey& key) const;
  const auto& viaKeyToViaSetKeySetMap() const { return viaKeyToViaSetKeySet_; }

  /// Forget a map, as the machine does with all when it goes. The steps rely on each other's maps:
  /// who clears one clears all.
  void routeKeyToViaSetKeyDelAll() { routeKeyToViaSetKey_.clear(); }
  void viaSetKeyToRouteKeySetDelAll() { viaSetKeyToRouteKeySet_.clear(); }
  void viaSetKeyToViaKeySetDelAll() { viaSetKeyToViaKeySet_.clear(); }
  void viaKeyToViaSetKeySetDelAll() { viaKeyToViaSetKeySet_.clear(); }

  // ---- Handlers: what changed, one key or all rows that are there -------------------------------

  /// The first full pass. Aborts when the backlog is not empty.
  void handleInitialized();
  void handleLfibRoutes();
  /// Maps the route anew; it goes to the backlog whether it came, changed or went.
  void handleLfibRoute(const RouteKey& key);
  void handleViaSets();
  /// Maps the vias of the set anew; its routes go to the backlog.
  void handleViaSet(const LfibViaSetKey& key);
  /// All vias of all tables.
  void handleVias();
  /// The routes that use the via, of whatever type, go to the backlog.
  void handleVia(const LfibViaKey& key);

  // ---- Steps ------------------------------------------------------------------------------------

  void addRouteKeyBacklog(const RouteKey& key);
  void maybeAddRouteKeyBacklogByViaSetKey(const LfibViaSetKey& key);
  void maybeAddRouteKeyBacklogByViaKey(const LfibViaKey& key);
  void addRouteKeyViaSetKeyMapping(const RouteKey& routeKey, const LfibViaSetKey& viaSetKey);
  void delRouteKeyViaSetKeyMapping(const RouteKey& routeKey);
  void addViaSetKeyViaKeyMapping(const LfibViaSetKey& viaSetKey, const LfibViaKey& viaKey);
  void delViaSetKeyViaKeyMapping(const LfibViaSetKey& viaSetKey);

 protected:
  /// Listens already, and ignores what it hears until handleInitialized(). Null pointers raise
  /// NullException "null ValidPtr".
  LfibTrackingSm(Forma::Ptr<LfibStatus const> lfibStatus,
                 Forma::Ptr<LfibTrackingStatus> lfibTrackingStatus, Forma::Name name);

 private:
  friend Forma::Ptr<LfibTrackingSm> lfibTrackingSmFactory(Forma::Ptr<LfibStatus const>,
                                                          Forma::Ptr<LfibTrackingStatus>,
                                                          Forma::Name);

  struct StatusReactor : LfibStatus::NotifieeConst {
    explicit StatusReactor(LfibTrackingSm& sm) : owner(sm) {}
    void onLfibRoute(const RouteKey& key) override;
    void onLfibRoute() override;
    void onViaSet(const LfibViaSetKey& key) override;
    void onViaSet() override;
    void onPwVia(const LfibViaKey& key) override;
    void onPwVia() override;
    LfibTrackingSm& owner;
  };

  /// `row` is null where there is none.
  void handleLfibRoute(const RouteKey& key, const LfibRoute* row);
  void handleViaSet(const LfibViaSetKey& key, const LfibViaSet* row);
  void assertInitialized() const;

  const Forma::Name name_;
  Forma::Ptr<LfibStatus const> lfibStatus_;
  const Forma::Ptr<LfibTrackingStatus> trackingStatus_;
  bool initialized_ = false;
  StatusReactor statusReactor_;
  /// The via set that each route names. A route that is here is in that via set's RouteKeySet.
  Forma::HashMap<RouteKey, LfibViaSetKey> routeKeyToViaSetKey_;
  Forma::HashMap<LfibViaSetKey, Forma::Ptr<RouteKeySet>> viaSetKeyToRouteKeySet_;
  /// A via that is in a set here has that via set in its ViaSetKeySet.
  Forma::HashMap<LfibViaSetKey, Forma::Ptr<ViaKeySet>> viaSetKeyToViaKeySet_;
  Forma::HashMap<LfibViaKey, Forma::Ptr<ViaSetKeySet>> viaKeyToViaSetKeySet_;
};

/// Makes the machine and runs its first full pass. Null pointers raise NullException "null
/// ValidPtr". Aborts when the backlog is not empty.
MPLS_EXPORT Forma::Ptr<LfibTrackingSm> lfibTrackingSmFactory(
    Forma::Ptr<LfibStatus const> lfibStatus, Forma::Ptr<LfibTrackingStatus> lfibTrackingStatus,
    Forma::Name name);

}  // namespace Mpls
