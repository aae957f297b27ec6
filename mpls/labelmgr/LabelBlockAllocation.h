/// The blocks of one client agent.
#pragma once

#include "mpls/labelmgr/LabelBlock.h"
#include "platform/forma/Declare.h"

namespace Mpls {

/// Named after the client; written by the label manager alone. A request that has no block here
/// waits for one. A block stays with its request, unless the range that it was cut from moves or
/// shrinks: then another one takes its place.
class MPLS_EXPORT LabelBlockAllocation : public Forma::NamedEntity {
  FORMA_ENTITY(Mpls::LabelBlockAllocation, Forma::NamedEntity, block)
  /// By the identifier of the request.
  FORMA_VALUES(Forma::Name, LabelBlock, block, newBlock, onBlock)

 public:
  class NotifieeConst : public Forma::NotifieeOf<LabelBlockAllocation> {
   public:
    virtual void onBlock(const Forma::Name& /*id*/) {}
  };
  using Notifiee = Forma::NotifieeMutable<LabelBlockAllocation, NotifieeConst>;

  explicit LabelBlockAllocation(Forma::Name name) : NamedEntity(std::move(name)) {}
  ~LabelBlockAllocation() override;
};

FORMA_FACTORY(labelBlockAllocationFactory, LabelBlockAllocation, Forma::Name)

}  // namespace Mpls
