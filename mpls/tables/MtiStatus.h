/// MPLS tunnel interfaces: how packets leave the label switched path for this switch's software.
#pragma once

#include "platform/interface/EthIntfStatus.h"

namespace Mpls {

/// One MPLS tunnel interface.
class MPLS_EXPORT MtiStatus : public Interface::EthIntfStatus {
  FORMA_ENTITY(Mpls::MtiStatus, Interface::EthIntfStatus)

 public:
  class NotifieeConst
      : public Forma::NotifieeOf<MtiStatus, Interface::EthIntfStatus::NotifieeConst> {};
  using Notifiee = Forma::NotifieeMutable<MtiStatus, NotifieeConst>;

  /// `number` is the interface's ifIndex.
  MtiStatus(Netbase::IntfId intfId, std::uint32_t number) : EthIntfStatus(intfId, number) {}
  ~MtiStatus() override;
};

/// The MPLS tunnel interfaces of a switch.
class MPLS_EXPORT MtiStatusDir : public Interface::IntfStatusDirBase {
  FORMA_ENTITY(Mpls::MtiStatusDir, Interface::IntfStatusDirBase, mtiStatus)
  /// Made from the identifier and the number.
  FORMA_CHILDREN(Netbase::IntfId, MtiStatus, mtiStatus, newMtiStatus, onMtiStatus)

 public:
  class NotifieeConst
      : public Forma::NotifieeOf<MtiStatusDir, Interface::IntfStatusDirBase::NotifieeConst> {
   public:
    /// The status of `intfId` came or went.
    virtual void onMtiStatus(const Netbase::IntfId& /*intfId*/) {}
  };
  using Notifiee = Forma::NotifieeMutable<MtiStatusDir, NotifieeConst>;

  explicit MtiStatusDir(Forma::Name name) : IntfStatusDirBase(std::move(name)) {}
  ~MtiStatusDir() override;
  Forma::Ptr<Interface::IntfStatus const> intfStatus(const Netbase::IntfId& intfId) const override;
};

FORMA_FACTORY(mtiStatusFactory, MtiStatus, Netbase::IntfId, std::uint32_t)
FORMA_FACTORY(mtiStatusDirFactory, MtiStatusDir, Forma::Name)

}  // namespace Mpls
