/// The status of a network interface, as the agent that drives it publishes it.
#pragma once

#include <cstdint>

#include "platform/forma/Declare.h"
#include "platform/forma/Enum.h"
#include "platform/netbase/IntfId.h"

namespace Interface {

FORMA_TEXT_FUNCTIONS

/// Whether an interface passes packets (RFC 8343, oper-status).
enum OperStatus : std::uint8_t {
  unknownOperStatus_ = 0,
  up_ = 1,
  down_ = 2,
};
FORMA_ENUM(Interface, OperStatus, unknownOperStatus, up, down)

/// Any interface. Its kinds derive from this; a directory (IntfStatusDirBase) makes and owns them.
class MPLS_EXPORT IntfStatus : public Forma::Entity {
  FORMA_ENTITY(Interface::IntfStatus, Forma::Entity, operStatus, mtu)
  FORMA_KEY(Netbase::IntfId, intfId)
  /// The number by which the operating system knows the interface; 0 when it has none.
  FORMA_FIXED(std::uint32_t, ifIndex)
  FORMA_ARGUMENTS(intfId, ifIndex)
  FORMA_ATTRIBUTE(OperStatus, operStatus, onOperStatus)
  /// The largest packet in bytes, link header not included; 0 when it is not known.
  FORMA_ATTRIBUTE(std::uint32_t, mtu, onMtu)

 public:
  class NotifieeConst : public Forma::NotifieeOf<IntfStatus> {
   public:
    virtual void onOperStatus() {}
    virtual void onMtu() {}
  };
  using Notifiee = Forma::NotifieeMutable<IntfStatus, NotifieeConst>;

  ~IntfStatus() override;
  /// The bare interface name.
  Forma::Name name() const override { return Forma::Name(intfId().stringValue()); }

 protected:
  IntfStatus(const Netbase::IntfId& intfId, std::uint32_t ifIndex)
      : intfId_(intfId), ifIndex_(ifIndex) {}
};

/// A directory of interface statuses of one kind. Each kind has one of its own, which holds a
/// collection of that kind; here is what readers of any kind need.
class MPLS_EXPORT IntfStatusDirBase : public Forma::NamedEntity {
  FORMA_ENTITY(Interface::IntfStatusDirBase, Forma::NamedEntity)

 public:
  class NotifieeConst : public Forma::NotifieeOf<IntfStatusDirBase> {};
  using Notifiee = Forma::NotifieeMutable<IntfStatusDirBase, NotifieeConst>;

  ~IntfStatusDirBase() override;
  /// The status of that interface; null when the directory has none.
  virtual Forma::Ptr<IntfStatus const> intfStatus(const Netbase::IntfId& intfId) const = 0;

 protected:
  explicit IntfStatusDirBase(Forma::Name name) : NamedEntity(std::move(name)) {}
};

}  // namespace Interface
