/// Which protocols may provide the downstream label mapping of each FEC.
#pragma once

#include "mpls/types/FwdEqvClass.h"
#include "mpls/types/LFibSource.h"
#include "platform/forma/Declare.h"

namespace Mpls {

/// The protocols that may provide the mapping of one FEC.
class MPLS_EXPORT DownstreamMappingSource : public Forma::Entity {
  FORMA_ENTITY(Mpls::DownstreamMappingSource, Forma::Entity, source)
  FORMA_NAMING_KEY(FwdEqvClass, fwdEqvClass)
  FORMA_VALUES(LFib::Source, bool, source, newSource, onSource)

 public:
  class NotifieeConst : public Forma::NotifieeOf<DownstreamMappingSource> {
   public:
    virtual void onSource(const LFib::Source& /*source*/) {}
  };
  using Notifiee = Forma::NotifieeMutable<DownstreamMappingSource, NotifieeConst>;

  explicit DownstreamMappingSource(FwdEqvClass fec) : fwdEqvClass_(fec) {}
  ~DownstreamMappingSource() override;
};

/// All FECs for which that is configured.
class MPLS_EXPORT DownstreamMappingSourceColl : public Forma::NamedEntity {
  FORMA_ENTITY(Mpls::DownstreamMappingSourceColl, Forma::NamedEntity, dsMappingSource)
  FORMA_CHILDREN(FwdEqvClass, DownstreamMappingSource, dsMappingSource, newDsMappingSource,
                 onDsMappingSource)

 public:
  class NotifieeConst : public Forma::NotifieeOf<DownstreamMappingSourceColl> {
   public:
    virtual void onDsMappingSource(const FwdEqvClass& /*fec*/) {}
  };
  using Notifiee = Forma::NotifieeMutable<DownstreamMappingSourceColl, NotifieeConst>;

  explicit DownstreamMappingSourceColl(Forma::Name name) : NamedEntity(std::move(name)) {}
  ~DownstreamMappingSourceColl() override;
};

FORMA_FACTORY(downstreamMappingSourceFactory, DownstreamMappingSource, FwdEqvClass)
FORMA_FACTORY(downstreamMappingSourceCollFactory, DownstreamMappingSourceColl, Forma::Name)

}  // namespace Mpls
