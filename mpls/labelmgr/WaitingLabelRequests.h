/// The requests that wait for a block, and since when.
#pragma once

#include <cstdint>

#include "mpls/types/Namespace.h"
#include "platform/forma/Declare.h"

namespace Mpls {

/// Those of one client, after which it is named.
class MPLS_EXPORT ClientWaitingRequests : public Forma::NamedEntity {
  FORMA_ENTITY(Mpls::ClientWaitingRequests, Forma::NamedEntity, since)
  /// By the identifier of the request: when it began to wait, in nanoseconds of CLOCK_BOOTTIME.
  FORMA_VALUES(Forma::Name, std::uint64_t, since, newSince, onSince)

 public:
  class NotifieeConst : public Forma::NotifieeOf<ClientWaitingRequests> {
   public:
    virtual void onSince(const Forma::Name& /*id*/) {}
  };
  using Notifiee = Forma::NotifieeMutable<ClientWaitingRequests, NotifieeConst>;

  explicit ClientWaitingRequests(Forma::Name name) : NamedEntity(std::move(name)) {}
  ~ClientWaitingRequests() override;
};

/// Of all clients that wait for anything. Written by the agent of the label manager, for people:
/// nothing is decided by it.
class MPLS_EXPORT WaitingLabelRequests : public Forma::NamedEntity {
  FORMA_ENTITY(Mpls::WaitingLabelRequests, Forma::NamedEntity, client)
  FORMA_CHILDREN(Forma::Name, ClientWaitingRequests, client, newClient, onClient)

 public:
  class NotifieeConst : public Forma::NotifieeOf<WaitingLabelRequests> {
   public:
    virtual void onClient(const Forma::Name& /*name*/) {}
  };
  using Notifiee = Forma::NotifieeMutable<WaitingLabelRequests, NotifieeConst>;

  explicit WaitingLabelRequests(Forma::Name name) : NamedEntity(std::move(name)) {}
  ~WaitingLabelRequests() override;
};

FORMA_FACTORY(waitingLabelRequestsFactory, WaitingLabelRequests, Forma::Name)

}  // namespace Mpls
