/// What the forwarding hardware can do.
#pragma once

#include "platform/forma/Declare.h"

namespace Mpls::Hardware {

/// Written by the agent of the hardware.
class MPLS_EXPORT Capability : public Forma::NamedEntity {
  FORMA_ENTITY(Mpls::Hardware::Capability, Forma::NamedEntity, mplsSupported, mplsIntfCfgSupported,
               mplsSkipEgressAclSupported, mplsForwardIntoNexthopGroupSupported)
  FORMA_ATTRIBUTE(bool, mplsSupported, onMplsSupported)
  /// MPLS can be switched on and off by interface.
  FORMA_ATTRIBUTE(bool, mplsIntfCfgSupported, onMplsIntfCfgSupported)
  /// A via can bypass the access list of the interface that it leaves by.
  FORMA_ATTRIBUTE(bool, mplsSkipEgressAclSupported, onMplsSkipEgressAclSupported)
  /// A route can lead into a next-hop group.
  FORMA_ATTRIBUTE(bool, mplsForwardIntoNexthopGroupSupported,
                  onMplsForwardIntoNexthopGroupSupported)

 public:
  class NotifieeConst : public Forma::NotifieeOf<Capability> {
   public:
    virtual void onMplsSupported() {}
    virtual void onMplsIntfCfgSupported() {}
    virtual void onMplsSkipEgressAclSupported() {}
    virtual void onMplsForwardIntoNexthopGroupSupported() {}
  };
  using Notifiee = Forma::NotifieeMutable<Capability, NotifieeConst>;

  explicit Capability(Forma::Name name) : NamedEntity(std::move(name)) {}
  ~Capability() override;
};

FORMA_FACTORY(capabilityFactory, Capability, Forma::Name)

}  // namespace Mpls::Hardware
