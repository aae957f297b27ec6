/// Keeps the LFIB equal to the merged static MPLS routes.
///
/// Nothing is done before the configuration is ready: it would lack routes. From then on each route
/// that comes, goes or changes is handled in one of the next turns of the loop, some thousands in
/// each, so that the loop serves others during large loads. The first time that nothing is left to
/// do the LFIB equals the configuration, and what it held besides is gone.
///
/// A route whose vias an LFIB cannot hold is there with those it can: the first 128 in their order;
/// without vias that lead to a next-hop group or carry a label that is none. A route of which no
/// via is left is not in the LFIB. Both are reported.
///
/// Thread    that of the loop.
/// Inputs    the merged configuration, read through a notifiee; never written.
/// Outputs   routes of lfibSourceStaticMpls, and what they lead to (LfibRouteWriter).
/// Restart   adopts the rows that are there, and writes only differences.
/// Cost      a change costs the same whatever the number of routes.
#pragma once

#include <cstddef>
#include <deque>
#include <functional>
#include <string>
#include <string_view>
#include <vector>

#include "mpls/entities/RouteConfig.h"
#include "mpls/lfib/LfibRouteWriter.h"
#include "platform/kiln/EventLoop.h"

namespace Mpls {

class MPLS_EXPORT LfibStaticRouteSm {
 public:
  using Report = std::function<void(const std::string& text)>;

  /// Makes the machine; its work begins in the loop. The loop must outlive it. `report` hears of
  /// routes that the LFIB does not hold as they are configured, and when that ends; ten for each
  /// turn, and how many more. Null pointers raise NullException.
  LfibStaticRouteSm(Forma::Ptr<LfibStatus> lfib, Forma::Ptr<RouteConfig const> config,
                    Kiln::EventLoop& loop, Report report);
  LfibStaticRouteSm(const LfibStaticRouteSm&) = delete;
  LfibStaticRouteSm& operator=(const LfibStaticRouteSm&) = delete;

  const LfibRouteWriter& writer() const { return writer_; }
  /// Whether the LFIB has been brought in line with a configuration that was ready.
  bool initialized() const { return initialized_; }
  /// Called once, when it is.
  void onInitializedIs(std::function<void()> handler) { onInitialized_ = std::move(handler); }
  /// Routes that changed and are still to be handled.
  std::size_t backlog() const { return backlog_.size(); }

  /// How many routes are handled in one turn.
  static constexpr std::size_t routesPerTurn = 4096;

 private:
  struct ConfigReactor : RouteConfig::NotifieeConst {
    explicit ConfigReactor(LfibStaticRouteSm& sm) : owner(sm) {}
    void onRoute(const RouteKey& key) override { owner.handleRoute(key); }
    void onReady() override { owner.handleReady(); }
    LfibStaticRouteSm& owner;
  };

  void handleReady();
  void handleRoute(const RouteKey& key);
  void handleBacklog();
  void handleInitialized();
  /// The one place that writes a route of the output.
  void setOutputForRoute(const RouteKey& key);
  /// What of the route goes into the LFIB, in vias_; returns what is wrong, empty for nothing.
  std::string takeVias(const Route& route);
  void problemIs(const RouteKey& key, std::string problem);
  void reportProblems();

  const Forma::Ptr<RouteConfig const> config_;
  const Report report_;
  LfibRouteWriter writer_;
  ConfigReactor reactor_;
  Kiln::Timer turn_;  // is due while there is a backlog
  std::deque<RouteKey> backlog_;
  Forma::HashMap<RouteKey, bool> queued_;  // those of the backlog
  bool initialized_ = false;
  std::function<void()> onInitialized_;
  std::vector<Via> sorted_;                        // of the route at hand
  std::vector<LfibMplsVia> vias_;                  // the same
  Forma::HashMap<RouteKey, std::string> problem_;  // of routes that are not as configured
  std::vector<std::string> toReport_;
  std::size_t more_ = 0;  // that are not in toReport_
};

}  // namespace Mpls
