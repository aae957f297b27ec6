/// What the hardware agent reports of the routes of the LFIB.
#pragma once

#include "mpls/lfib/RouteInfo.h"
#include "platform/tarn/FormaTarnMap.h"

namespace Mpls {

/// Written by the hardware agent. A route that is programmed has no row.
class MPLS_EXPORT LfibHwStatus : public Forma::NamedEntity {
  FORMA_ENTITY(Mpls::LfibHwStatus, Forma::NamedEntity, unprogrammedRoute)
  FORMA_TABLE(RouteKey, RouteInfo, unprogrammedRoute, newUnprogrammedRoute, onUnprogrammedRoute)

 public:
  class NotifieeConst : public Forma::NotifieeOf<LfibHwStatus> {
   public:
    virtual void onUnprogrammedRoute(const RouteKey& /*key*/) {}
    /// The table as a whole.
    virtual void onUnprogrammedRoute() {}
  };
  using Notifiee = Forma::NotifieeMutable<LfibHwStatus, NotifieeConst>;

  explicit LfibHwStatus(Forma::Name name) : NamedEntity(std::move(name)) {}
  ~LfibHwStatus() override;
};

FORMA_FACTORY(lfibHwStatusFactory, LfibHwStatus, Forma::Name)

}  // namespace Mpls
