/// The global MPLS configuration of the switch.
#pragma once

#include "mpls/types/LabelRange.h"
#include "platform/forma/Declare.h"
#include "platform/netbase/IntfId.h"

namespace Mpls {

/// Written by the configuration agents, read by every MPLS agent. Starts with no ranges and all
/// switches off.
class MPLS_EXPORT Config : public Forma::NamedEntity {
  FORMA_ENTITY(Mpls::Config, Forma::NamedEntity, labelRange, labelRangeDefault, mplsRouting,
               mplsRoutingDisabledIntf, nexthopResolutionAllowDefaultRoute)
  /// The ranges that the operator configured, by the names of the range types (LabelRangeInfo).
  FORMA_VALUES(Forma::Name, LabelRange, labelRange, newLabelRange, onLabelRange)
  /// The range in force for each type that has no entry in `labelRange`.
  FORMA_VALUES(Forma::Name, LabelRange, labelRangeDefault, newLabelRangeDefault,
               onLabelRangeDefault)
  /// MPLS routing switched on globally.
  FORMA_ATTRIBUTE(bool, mplsRouting, onMplsRouting)
  /// Interfaces on which MPLS routing is switched off.
  FORMA_VALUES(Netbase::IntfId, bool, mplsRoutingDisabledIntf, newMplsRoutingDisabledIntf,
               onMplsRoutingDisabledIntf)
  /// Whether the next hop of a route may be resolved through the default route.
  FORMA_ATTRIBUTE(bool, nexthopResolutionAllowDefaultRoute, onNexthopResolutionAllowDefaultRoute)

 public:
  class NotifieeConst : public Forma::NotifieeOf<Config> {
   public:
    virtual void onLabelRange(const Forma::Name& /*rangeType*/) {}
    virtual void onLabelRangeDefault(const Forma::Name& /*rangeType*/) {}
    virtual void onMplsRouting() {}
    virtual void onMplsRoutingDisabledIntf(const Netbase::IntfId& /*intf*/) {}
    virtual void onNexthopResolutionAllowDefaultRoute() {}
  };
  using Notifiee = Forma::NotifieeMutable<Config, NotifieeConst>;

  explicit Config(Forma::Name name) : NamedEntity(std::move(name)) {}
  ~Config() override;
};

/// What routing publishes of MPLS routing.
class MPLS_EXPORT RoutingInfo : public Forma::NamedEntity {
  FORMA_ENTITY(Mpls::RoutingInfo, Forma::NamedEntity, mplsRouting, mplsRoutingDisabledIntf)
  FORMA_ATTRIBUTE(bool, mplsRouting, onMplsRouting)
  FORMA_VALUES(Netbase::IntfId, bool, mplsRoutingDisabledIntf, newMplsRoutingDisabledIntf,
               onMplsRoutingDisabledIntf)

 public:
  class NotifieeConst : public Forma::NotifieeOf<RoutingInfo> {
   public:
    virtual void onMplsRouting() {}
    virtual void onMplsRoutingDisabledIntf(const Netbase::IntfId& /*intf*/) {}
  };
  using Notifiee = Forma::NotifieeMutable<RoutingInfo, NotifieeConst>;

  explicit RoutingInfo(Forma::Name name) : NamedEntity(std::move(name)) {}
  ~RoutingInfo() override;
};

FORMA_FACTORY(configFactory, Config, Forma::Name)
FORMA_FACTORY(routingInfoFactory, RoutingInfo, Forma::Name)

}  // namespace Mpls
