/// Which routes of the LFIB somebody has yet to look at again.
#pragma once

#include "mpls/types/RouteKey.h"
#include "platform/forma/Declare.h"

namespace Mpls {

/// Filled by LfibTrackingSm and emptied by who works through it, in the same process. A key says
/// that something changed of which the route is made; the tables say what.
///
/// Who observes the backlog hears of keys that come and of those that are removed. With several
/// who do, one may remove a key before another looks: they act on each key they hear of, present
/// or not, or have a tracking machine each.
class MPLS_EXPORT LfibTrackingStatus : public Forma::NamedEntity {
  FORMA_ENTITY(Mpls::LfibTrackingStatus, Forma::NamedEntity, routeKeyBacklog)
  /// The value is always true.
  FORMA_VALUES(RouteKey, bool, routeKeyBacklog, newRouteKeyBacklog, onRouteKeyBacklog)

 public:
  class NotifieeConst : public Forma::NotifieeOf<LfibTrackingStatus> {
   public:
    /// `key` came into the backlog, or was removed from it.
    virtual void onRouteKeyBacklog(const RouteKey& /*key*/) {}
  };
  using Notifiee = Forma::NotifieeMutable<LfibTrackingStatus, NotifieeConst>;

  explicit LfibTrackingStatus(Forma::Name name) : NamedEntity(std::move(name)) {}
  ~LfibTrackingStatus() override;
};

FORMA_FACTORY(lfibTrackingStatusFactory, LfibTrackingStatus, Forma::Name)

}  // namespace Mpls
