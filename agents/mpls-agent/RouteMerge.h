/// Merges the inputs of static MPLS routes that other agents publish.
///
/// Thread    that of the program's loop.
/// Inputs    "routing/mpls/route/input/static" and all in "routing/mpls/route/input/dynamic".
/// Outputs   "routing/mpls/route/config".
/// Restart   merges afresh, out of sight; published as a difference once every input is in it.
#pragma once

#include "agents/common/Program.h"
#include "mpls/routeconfig/RouteConfigMergeSm.h"

namespace MplsAgent {

class RouteMerge {
 public:
  /// Asks for the mounts; the program must outlive it.
  explicit RouteMerge(Agents::Program& program);

 private:
  struct ReadyReactor : Mpls::RouteConfig::NotifieeConst {
    explicit ReadyReactor(RouteMerge& merge) : owner(merge) {}
    void onReady() override { owner.handleReady(); }
    RouteMerge& owner;
  };

  void handleMounts();
  void handleReady();

  Agents::Program& program_;
  ReadyReactor readyReactor_;
  Forma::Ptr<Mpls::RouteConfigMergeSm> sm_;
};

}  // namespace MplsAgent
