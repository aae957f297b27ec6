/// Where agents meet what the MPLS library keeps for all of them.
#pragma once

#include "mpls/entities/CommonLib.h"
#include "mpls/entities/DownstreamMappingSource.h"
#include "mpls/labelmgr/LabelBlockAllocation.h"
#include "mpls/types/LabelRange.h"

namespace Mpls::Api {

/// Shared by several agents; each member has one writer.
class MPLS_EXPORT Status : public Forma::NamedEntity {
  FORMA_ENTITY(Mpls::Api::Status, Forma::NamedEntity, commonLib, dsMappingSourceColl,
               labelBlockAllocation, dynamicLabelRange)
  FORMA_CHILDREN(Forma::Name, CommonLib, commonLib, newCommonLib, onCommonLib)
  /// Made from a name.
  FORMA_CHILD(DownstreamMappingSourceColl, dsMappingSourceColl, newDsMappingSourceColl,
              onDsMappingSourceColl)
  /// The blocks of each client, by its name. Written by the label manager.
  FORMA_CHILDREN(Forma::Name, LabelBlockAllocation, labelBlockAllocation, newLabelBlockAllocation,
                 onLabelBlockAllocation)
  /// The range that the blocks are cut from. Written by the label manager.
  FORMA_ATTRIBUTE(LabelRange, dynamicLabelRange, onDynamicLabelRange)

 public:
  class NotifieeConst : public Forma::NotifieeOf<Status> {
   public:
    virtual void onCommonLib(const Forma::Name& /*name*/) {}
    virtual void onDsMappingSourceColl() {}
    virtual void onLabelBlockAllocation(const Forma::Name& /*client*/) {}
    virtual void onDynamicLabelRange() {}
  };
  using Notifiee = Forma::NotifieeMutable<Status, NotifieeConst>;

  explicit Status(Forma::Name name) : NamedEntity(std::move(name)) {}
  ~Status() override;
};

FORMA_FACTORY(statusFactory, Status, Forma::Name)

}  // namespace Mpls::Api
