/// The anchor of the label binding tables.
#pragma once

#include "mpls/tables/LabelBindingTable.h"

namespace Mpls {

/// The bindings of this router and those of its peers, where the agents that need them meet.
class MPLS_EXPORT CommonLib : public Forma::NamedEntity {
  FORMA_ENTITY(Mpls::CommonLib, Forma::NamedEntity, localLabelBindingTable,
               peerLabelBindingTableColl)
  /// Made from a name and the local router's identifier.
  FORMA_CHILD(LabelBindingTable, localLabelBindingTable, newLocalLabelBindingTable,
              onLocalLabelBindingTable)
  /// Made from a name.
  FORMA_CHILD(LabelBindingTableColl, peerLabelBindingTableColl, newPeerLabelBindingTableColl,
              onPeerLabelBindingTableColl)

 public:
  class NotifieeConst : public Forma::NotifieeOf<CommonLib> {
   public:
    virtual void onLocalLabelBindingTable() {}
    virtual void onPeerLabelBindingTableColl() {}
  };
  using Notifiee = Forma::NotifieeMutable<CommonLib, NotifieeConst>;

  explicit CommonLib(Forma::Name name) : NamedEntity(std::move(name)) {}
  ~CommonLib() override;
};

FORMA_FACTORY(commonLibFactory, CommonLib, Forma::Name)

}  // namespace Mpls
