/// Label bindings by router: for each FEC the labels bound to it.
///
/// The tables hold data only; the agents that learn bindings fill them.
#pragma once

#include "mpls/tables/LabelSet.h"
#include "mpls/types/RouterId.h"

namespace Mpls {

/// The bindings of one router.
class MPLS_EXPORT LabelBindingTable : public Forma::NamedEntity {
  FORMA_ENTITY(Mpls::LabelBindingTable, Forma::NamedEntity, binding, filteredFec)
  /// The router whose bindings these are; the table's key in LabelBindingTableColl.
  FORMA_KEY(RouterId, routerId)
  FORMA_ARGUMENTS(name, routerId)
  FORMA_CHILDREN(FwdEqvClass, FecLabelSet, binding, newBinding, onBinding)
  /// FECs whose bindings are filtered out.
  FORMA_VALUES(FwdEqvClass, bool, filteredFec, newFilteredFec, onFilteredFec)

 public:
  class NotifieeConst : public Forma::NotifieeOf<LabelBindingTable> {
   public:
    virtual void onBinding(const FwdEqvClass& /*fec*/) {}
    virtual void onFilteredFec(const FwdEqvClass& /*fec*/) {}
  };
  using Notifiee = Forma::NotifieeMutable<LabelBindingTable, NotifieeConst>;

  LabelBindingTable(Forma::Name name, RouterId routerId)
      : NamedEntity(std::move(name)), routerId_(routerId) {}
  /// Named after its router, as the collection makes it.
  explicit LabelBindingTable(RouterId routerId)
      : LabelBindingTable(Forma::valueToStrep(routerId), routerId) {}
  ~LabelBindingTable() override;
};

/// The tables of many routers.
class MPLS_EXPORT LabelBindingTableColl : public Forma::NamedEntity {
  FORMA_ENTITY(Mpls::LabelBindingTableColl, Forma::NamedEntity, bindingTable)
  FORMA_CHILDREN(RouterId, LabelBindingTable, bindingTable, newBindingTable, onBindingTable)

 public:
  class NotifieeConst : public Forma::NotifieeOf<LabelBindingTableColl> {
   public:
    virtual void onBindingTable(const RouterId& /*routerId*/) {}
  };
  using Notifiee = Forma::NotifieeMutable<LabelBindingTableColl, NotifieeConst>;

  explicit LabelBindingTableColl(Forma::Name name) : NamedEntity(std::move(name)) {}
  ~LabelBindingTableColl() override;
};

/// Which router a binding that was learnt over an interface comes from.
class MPLS_EXPORT IntfIpToRouterIdMappingTable : public Forma::NamedEntity {
  FORMA_ENTITY(Mpls::IntfIpToRouterIdMappingTable, Forma::NamedEntity, intfIpToId)
  /// The router by the address of one of its interfaces.
  FORMA_VALUES(Netbase::IpGenAddr, RouterId, intfIpToId, newIntfIpToId, onIntfIpToId)

 public:
  class NotifieeConst : public Forma::NotifieeOf<IntfIpToRouterIdMappingTable> {
   public:
    virtual void onIntfIpToId(const Netbase::IpGenAddr& /*address*/) {}
  };
  using Notifiee = Forma::NotifieeMutable<IntfIpToRouterIdMappingTable, NotifieeConst>;

  explicit IntfIpToRouterIdMappingTable(Forma::Name name) : NamedEntity(std::move(name)) {}
  ~IntfIpToRouterIdMappingTable() override;
};

FORMA_FACTORY(labelBindingTableFactory, LabelBindingTable, Forma::Name, RouterId)
FORMA_FACTORY(labelBindingTableCollFactory, LabelBindingTableColl, Forma::Name)
FORMA_FACTORY(intfIpToRouterIdMappingTableFactory, IntfIpToRouterIdMappingTable, Forma::Name)

}  // namespace Mpls
