/// Keeps the labels whose packets are looked up in a VRF, by working through the backlog of the
/// LFIB's tracking.
///
/// A label has a value while its route names a via set of type IP lookup whose via is there. Values
/// are kept by label: with routes of several metrics at one label the route that was looked at last
/// decides. A via set of that type with another number of vias than one, or whose via key is a
/// default one, aborts the process: writers must not let such a set stand.
///
/// Thread    the agent's event thread; no other.
/// Inputs    the backlog, which it empties, key by key, as they come; the tables of the LFIB.
/// Outputs   all of `labelVrfAf`.
/// Restart   clears the output and works through what is in the backlog: together with a new
///           tracking machine, which puts all routes there, it is built from scratch.
/// Cost      a route costs a few lookups, whatever the number of routes.
#pragma once

#include <cstdint>

#include "mpls/lfib/LfibIpLookupStatus.h"
#include "mpls/lfib/LfibStatus.h"
#include "mpls/lfib/LfibTrackingStatus.h"
#include "platform/forma/FirstException.h"
#include "platform/forma/HashMap.h"

namespace Mpls {

class MPLS_EXPORT LfibIpLookupSm : public Forma::PtrInterface {
 public:
  using LabelVrfAf = LfibIpLookupStatusLabelVrfAf;

  ~LfibIpLookupSm() override;

  const Forma::Ptr<LfibStatus const>& lfibStatus() const { return lfibStatus_; }
  const Forma::Ptr<LfibTrackingStatus>& trackingStatus() const { return trackingStatus_; }
  const Forma::Ptr<LfibIpLookupStatus>& lfibIpLookupStatus() const { return ipLookupStatus_; }
  bool initialized() const { return initialized_; }

  /// The value published for `label`; a default value when there is none.
  LabelVrfAf vrfAf(Netbase::MplsLabel label) const;
  std::size_t vrfAfs() const { return vrfAf_.size(); }

  /// Clears the output and works through the backlog.
  void handleInitialized();
  /// Each route that is in the backlog now. What an observer raises is raised at the end.
  void handleRouteKeyBacklog();
  /// Takes the route out of the backlog, first, and decides its label.
  void handleRouteKeyBacklog(RouteKey key);

 private:
  friend Forma::Ptr<LfibIpLookupSm> lfibIpLookupSmFactory(Forma::Ptr<LfibStatus const>,
                                                          Forma::Ptr<LfibTrackingStatus>,
                                                          Forma::Ptr<LfibIpLookupStatus>);

  struct TrackingReactor : LfibTrackingStatus::NotifieeConst {
    explicit TrackingReactor(LfibIpLookupSm& sm) : owner(sm) {}
    void onRouteKeyBacklog(const RouteKey& key) override;
    LfibIpLookupSm& owner;
  };

  LfibIpLookupSm(Forma::Ptr<LfibStatus const> lfibStatus,
                 Forma::Ptr<LfibTrackingStatus> trackingStatus,
                 Forma::Ptr<LfibIpLookupStatus> lfibIpLookupStatus);

  class Batch;

  void handleBatch(Batch& batch, Forma::FirstException& first);
  /// The via by which the packets of a route are looked up; false when they are not.
  bool viaFind(const RouteKey& key, LfibIpLookupVia* via) const;
  /// The one place that writes the output; null for no value.
  void setOutputForLabel(Netbase::MplsLabel label, const LfibIpLookupVia* via);

  const Forma::Ptr<LfibStatus const> lfibStatus_;
  const Forma::Ptr<LfibTrackingStatus> trackingStatus_;
  const Forma::Ptr<LfibIpLookupStatus> ipLookupStatus_;
  bool initialized_ = false;
  std::uint64_t handled_ = 0;  // routes that were handled one by one
  TrackingReactor trackingReactor_;
  Forma::HashMap<Netbase::MplsLabel, LabelVrfAf> vrfAf_;
};

/// Makes the machine and runs its first pass. Null pointers raise NullException "null ValidPtr".
MPLS_EXPORT Forma::Ptr<LfibIpLookupSm> lfibIpLookupSmFactory(
    Forma::Ptr<LfibStatus const> lfibStatus, Forma::Ptr<LfibTrackingStatus> trackingStatus,
    Forma::Ptr<LfibIpLookupStatus> lfibIpLookupStatus);

}  // namespace Mpls
