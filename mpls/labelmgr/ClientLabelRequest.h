/// The requests of one client agent.
#pragma once

#include "mpls/labelmgr/LabelRequest.h"
#include "platform/forma/Declare.h"

namespace Mpls {

/// Named after the client, which owns and writes it at "mpls/config/labelRequest/<client>"; the
/// label manager reads it there. Each request is answered by one block under its identifier in
/// the client's LabelBlockAllocation, and is open until then; the block goes back when the request
/// goes, or the whole entity.
class MPLS_EXPORT ClientLabelRequest : public Forma::NamedEntity {
  FORMA_ENTITY(Mpls::ClientLabelRequest, Forma::NamedEntity, labelRequest)
  FORMA_KEYED_VALUES(Forma::String8, LabelRequest, id, labelRequest, newLabelRequest,
                     onLabelRequest)

 public:
  class NotifieeConst : public Forma::NotifieeOf<ClientLabelRequest> {
   public:
    virtual void onLabelRequest(const Forma::String8& /*id*/) {}
  };
  using Notifiee = Forma::NotifieeMutable<ClientLabelRequest, NotifieeConst>;

  explicit ClientLabelRequest(Forma::Name name) : NamedEntity(std::move(name)) {}
  ~ClientLabelRequest() override;
};

FORMA_FACTORY(clientLabelRequestFactory, ClientLabelRequest, Forma::Name)

}  // namespace Mpls
