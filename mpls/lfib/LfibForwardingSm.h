/// Keeps the resolved forwarding map of one or more LFIBs: what a label leads to, now.
///
/// A route is forwarded over those vias of its via set that are there. Without any it is not in the
/// map, and reported with the reason; so is one of which the rows make no sense. Of routes of equal
/// key in several LFIBs that of the lower source is taken, of equal sources that of the LFIB that
/// was given first; the others are reported as conflicts, and the next one takes over when it goes.
///
/// Each key that a tracking backlog tells of, present or not, is looked at again in one of the next
/// turns of the loop, some thousands in each, so that bursts count once. The backlogs are emptied
/// by others (LfibIpLookupSm): a key that nobody removes is not told again. Vias of all kinds are
/// followed: of those whose changes the tracking machine does not follow it is told by this one.
///
/// Thread    that of the loop.
/// Inputs    the tables of each LFIB, its tracking machine and backlog; never emptied.
/// Outputs   all of `status`, `hwStatus` and `reasons`: routes over MPLS next hops and pseudowires
///           with their adjacencies (in `status` a route is re-pointed before its old adjacency
///           goes); the routes that are not forwarded, with one return code for each key.
/// Restart   built from the tables; nothing is adopted. Of `hwStatus` and `reasons`, which outlive
///           the process, only differences are written.
/// Errors    what writing `hwStatus` and `reasons` raises ends a turn's work: make another machine.
/// Cost      a change costs what the routes it touches cost, whatever the number of others; a route
///           whose content is the same again allocates nothing.
/// Memory    with the tracking machine some 330 bytes a route, ten routes and two vias to a set.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <deque>
#include <functional>
#include <memory>
#include <vector>

#include "mpls/lfib/LfibForwardingEntries.h"
#include "mpls/lfib/LfibHwReasonStatus.h"
#include "mpls/lfib/LfibHwStatus.h"
#include "mpls/lfib/LfibTrackingSm.h"
#include "platform/kiln/EventLoop.h"

namespace Mpls {

class MPLS_EXPORT LfibForwardingSm : public Forma::PtrInterface {
 public:
  /// One LFIB with the machine that tracks it, and that machine's backlog.
  struct Lfib {
    Forma::Ptr<LfibStatus const> status;
    Forma::Ptr<LfibTrackingStatus const> trackingStatus;
    Forma::Ptr<LfibTrackingSm> trackingSm;
  };
  struct Outputs {
    Forma::Ptr<Status> status;
    Forma::Ptr<LfibHwStatus> hwStatus;
    Forma::Ptr<LfibHwReasonStatus> reasons;
  };
  using EntryPtr = Forma::Ptr<LfibForwardingEntry const>;

  ~LfibForwardingSm() override;

  /// What the route of that key leads to; null when it is not forwarded.
  EntryPtr route(const RouteKey& key) const;
  /// What the label leads to: the route of its lowest metric that is forwarded; null without any.
  /// Costs a lookup for each metric that any route has.
  EntryPtr lookup(Netbase::MplsLabel label) const;
  /// Routes that are forwarded, and the via sets that these use.
  std::size_t routes() const { return routes_.size(); }
  std::size_t viaSets() const { return entries_.size(); }
  /// Keys that are still to be looked at.
  std::size_t backlog() const { return backlog_.size(); }
  /// Looks at all of them now. Not to be called by those who observe the outputs.
  void work();

  /// Whether all routes that were there at the start have been looked at.
  bool initialized() const { return initialized_; }
  /// Called once, when that is so.
  void onInitializedIs(std::function<void()> handler) { onInitialized_ = std::move(handler); }
  /// Called for each route of the map that came, went, or leads to other vias.
  void onRouteIs(std::function<void(const RouteKey&)> handler) { onRoute_ = std::move(handler); }
  /// Calls `f(key, entry)` for each route of the map, which must not change meanwhile.
  template <class F>
  void eachRoute(F f) const {
    routes_.forEach([&f](const RouteKey& key, const auto& entry) { f(key, *entry); });
  }

  /// How many routes are looked at in one turn.
  static constexpr std::size_t routesPerTurn = 4096;

 private:
  friend Forma::Ptr<LfibForwardingSm> lfibForwardingSmFactory(std::vector<Lfib>, Outputs,
                                                              Kiln::EventLoop&);
  struct Input;
  static constexpr std::size_t batch = 32;

  LfibForwardingSm(std::vector<Lfib> lfibs, Outputs outputs, Kiln::EventLoop& loop);

  void handleStart();
  void handleRouteKey(const RouteKey& key);
  void handleTurn();
  /// Looks at up to `batch` keys; returns how many.
  std::size_t handleBatch();
  /// `at` is the key's place in the batch whose rows have been read.
  void setOutputForRoute(const RouteKey& key, std::size_t at);
  /// The LFIB whose route is taken; none: the number of LFIBs.
  std::size_t winnerAt(std::size_t at) const;
  void routeIs(const RouteKey& key, LFib::Source source, const LfibForwardingEntries::EntryPtr& to);
  void reportIs(const RouteKey& key, std::size_t at, std::size_t winner, LfibHwReason reason);
  void reasonIs(const UnprogrammedReason& row);

  std::vector<std::unique_ptr<Input>> inputs_;
  const Outputs outputs_;
  LfibForwardingEntries entries_;
  Forma::HashMap<RouteKey, LfibForwardingEntries::EntryPtr> routes_;
  std::array<std::uint32_t, 256> routesOfMetric_{};
  std::deque<RouteKey> backlog_;
  Forma::HashMap<RouteKey, bool> queued_;  // those of the backlog
  Kiln::Timer turn_;                       // is due while there is a backlog
  bool initialized_ = false;
  std::function<void()> onInitialized_;
  std::function<void(const RouteKey&)> onRoute_;
};

/// Makes the machine; its work begins in the loop, which must outlive it. The order of the LFIBs
/// decides between equal sources, and their numbers in `reasons`. Null pointers raise NullException
/// "null ValidPtr".
MPLS_EXPORT Forma::Ptr<LfibForwardingSm> lfibForwardingSmFactory(
    std::vector<LfibForwardingSm::Lfib> lfibs, LfibForwardingSm::Outputs outputs,
    Kiln::EventLoop& loop);

}  // namespace Mpls
