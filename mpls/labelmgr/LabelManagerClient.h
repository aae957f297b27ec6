/// What the label manager keeps of its clients.
#pragma once

#include <cstdint>

#include "mpls/labelmgr/ClientLabelRequest.h"

namespace Mpls {

/// The requests of all clients that are there, each mounted by its LabelManagerClientMounter.
///
/// Thread    the agent's event thread; no other.
class MPLS_EXPORT LabelManagerClient : public Forma::NamedEntity {
  FORMA_ENTITY(Mpls::LabelManagerClient, Forma::NamedEntity, request)

 public:
  class NotifieeConst : public Forma::NotifieeOf<LabelManagerClient> {
   public:
    /// A client came or went, or its request entity is another one; read request(name).
    virtual void onRequest(const Forma::Name& /*name*/) {}
  };
  using Notifiee = Forma::NotifieeMutable<LabelManagerClient, NotifieeConst>;
  using RequestPtr = Forma::Ptr<ClientLabelRequest const>;

  explicit LabelManagerClient(Forma::Name name) : NamedEntity(std::move(name)) {}
  ~LabelManagerClient() override;

  /// The requests of the client `name`; null when it is not there.
  RequestPtr request(const Forma::Name& name) const { return requestFind(name); }
  const ClientLabelRequest* requestFind(const Forma::Name& name) const {
    return request_.find(name);
  }
  /// Files the entity under its own name, in place of any other; always notifies. Null raises
  /// NullException "null _request parameter to mutator for Mpls::LabelManagerClient::request not
  /// allowed" and a double quote.
  void requestIs(RequestPtr request);
  void newRequest(RequestPtr request) { requestIs(std::move(request)); }
  /// The same under a name that the caller gives, for generic access.
  void requestIs(Forma::Name name, RequestPtr request);

  FORMA_COLLECTION(Forma::Name, RequestPtr, request, onRequest)

 private:
  Forma::References<Forma::Name, ClientLabelRequest const> request_;
};

/// Which number of the allocator stands behind each block of one client. Lives as long as the
/// client's LabelBlockAllocation.
///
/// Invariant `blockIndex[id]` is i exactly when `block[id]` of the allocation starts at block i of
///           the dynamic range, but for the moment in which a machine gives or takes it.
class MPLS_EXPORT LabelManagerClientInfo : public Forma::NamedEntity {
  FORMA_ENTITY(Mpls::LabelManagerClientInfo, Forma::NamedEntity, blockIndex)
  /// By the identifier of the request.
  FORMA_VALUES(Forma::Name, std::uint32_t, blockIndex, newBlockIndex, onBlockIndex)

 public:
  class NotifieeConst : public Forma::NotifieeOf<LabelManagerClientInfo> {
   public:
    virtual void onBlockIndex(const Forma::Name& /*id*/) {}
  };
  using Notifiee = Forma::NotifieeMutable<LabelManagerClientInfo, NotifieeConst>;

  explicit LabelManagerClientInfo(Forma::Name name) : NamedEntity(std::move(name)) {}
  ~LabelManagerClientInfo() override;
};

FORMA_FACTORY(labelManagerClientFactory, LabelManagerClient, Forma::Name)
FORMA_FACTORY(labelManagerClientInfoFactory, LabelManagerClientInfo, Forma::Name)

}  // namespace Mpls
