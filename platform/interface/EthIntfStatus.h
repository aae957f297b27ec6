/// The status of an interface that sends Ethernet frames.
#pragma once

#include "platform/interface/IntfStatus.h"
#include "platform/netbase/EthAddr.h"

namespace Interface {

class MPLS_EXPORT EthIntfStatus : public IntfStatus {
  FORMA_ENTITY(Interface::EthIntfStatus, IntfStatus, addr)
  /// The source of frames that it sends; all zero when it is not known.
  FORMA_ATTRIBUTE(Netbase::EthAddr, addr, onAddr)

 public:
  class NotifieeConst : public Forma::NotifieeOf<EthIntfStatus, IntfStatus::NotifieeConst> {
   public:
    virtual void onAddr() {}
  };
  using Notifiee = Forma::NotifieeMutable<EthIntfStatus, NotifieeConst>;

  ~EthIntfStatus() override;

 protected:
  using IntfStatus::IntfStatus;
};

}  // namespace Interface
