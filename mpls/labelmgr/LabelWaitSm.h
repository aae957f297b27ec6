/// Notes since when requests wait for a block, for those who look at the label manager.
///
/// Thread    the agent's event thread; no other.
/// Inputs    the requests of all clients and their directory, and the blocks that are given; read
///           through notifiees; never written.
/// Outputs   an entry for each open request without a block.
/// Restart   goes on from what is noted. A client whose requests are not mounted yet is left as it
///           stands, for as long as its directory entry is there.
/// Cost      a change of one request or block costs a few hash lookups, whatever the number of
///           others; that of a client visits its requests.
#pragma once

#include <memory>

#include "mpls/entities/ApiStatus.h"
#include "mpls/labelmgr/LabelManagerClient.h"
#include "mpls/labelmgr/WaitingLabelRequests.h"
#include "platform/forma/Dir.h"
#include "platform/forma/HashMap.h"

namespace Mpls {

class MPLS_EXPORT LabelWaitSm : public Forma::PtrInterface {
 public:
  /// Nanoseconds; see ClientWaitingRequests::since.
  using Clock = std::uint64_t (*)();
  static std::uint64_t bootTime();

  ~LabelWaitSm() override;

  const Forma::Ptr<WaitingLabelRequests>& waiting() const { return waiting_; }

  // ---- Handlers: may be called at any time, and again -------------------------------------------

  /// The first full pass.
  void handleInitialized();
  void handleClient(const Forma::Name& client);
  void setOutputForRequest(const Forma::Name& client, const Forma::Name& id);

 private:
  friend Forma::Ptr<LabelWaitSm> labelWaitSmFactory(Forma::Ptr<LabelManagerClient const>,
                                                    Forma::Ptr<Forma::Dir const>,
                                                    Forma::Ptr<Api::Status const>,
                                                    Forma::Ptr<WaitingLabelRequests>, Clock);

  struct DirReactor : Forma::Dir::NotifieeConst {
    explicit DirReactor(LabelWaitSm& sm) : owner(sm) {}
    void onEntry(const Forma::Name& name) override { owner.handleClient(name); }
    LabelWaitSm& owner;
  };
  struct ClientReactor : LabelManagerClient::NotifieeConst {
    explicit ClientReactor(LabelWaitSm& sm) : owner(sm) {}
    void onRequest(const Forma::Name& name) override { owner.handleClient(name); }
    LabelWaitSm& owner;
  };
  struct StatusReactor : Api::Status::NotifieeConst {
    explicit StatusReactor(LabelWaitSm& sm) : owner(sm) {}
    void onLabelBlockAllocation(const Forma::Name& client) override { owner.handleClient(client); }
    LabelWaitSm& owner;
  };
  struct RequestReactor : ClientLabelRequest::NotifieeConst {
    RequestReactor(LabelWaitSm& sm, Forma::Name name) : owner(sm), client(std::move(name)) {}
    void onLabelRequest(const Forma::String8& id) override {
      owner.setOutputForRequest(Forma::Name(client), Forma::Name(id));
    }
    LabelWaitSm& owner;
    const Forma::Name client;
  };
  struct BlockReactor : LabelBlockAllocation::NotifieeConst {
    BlockReactor(LabelWaitSm& sm, Forma::Name name) : owner(sm), client(std::move(name)) {}
    void onBlock(const Forma::Name& id) override {
      owner.setOutputForRequest(Forma::Name(client), id);
    }
    LabelWaitSm& owner;
    const Forma::Name client;
  };

  LabelWaitSm(Forma::Ptr<LabelManagerClient const> requests,
              Forma::Ptr<Forma::Dir const> labelRequestDir, Forma::Ptr<Api::Status const> apiStatus,
              Forma::Ptr<WaitingLabelRequests> waiting, Clock clock);

  void follow(const Forma::Name& client);
  bool waits(const Forma::Name& client, const Forma::Name& id) const;

  const Forma::Ptr<LabelManagerClient const> requests_;
  const Forma::Ptr<Forma::Dir const> labelRequestDir_;
  const Forma::Ptr<Api::Status const> apiStatus_;
  const Forma::Ptr<WaitingLabelRequests> waiting_;
  const Clock clock_;
  Forma::HashMap<Forma::Name, std::shared_ptr<RequestReactor>> clientRequest_;
  Forma::HashMap<Forma::Name, std::shared_ptr<BlockReactor>> clientBlock_;
  DirReactor dirReactor_;
  ClientReactor clientReactor_;
  StatusReactor statusReactor_;
};

/// Makes the machine and runs its first full pass. To be made after the label manager, which then
/// hears of each request first: one that is served at once never waits. Null pointers raise
/// NullException "null ValidPtr".
MPLS_EXPORT Forma::Ptr<LabelWaitSm> labelWaitSmFactory(
    Forma::Ptr<LabelManagerClient const> requests, Forma::Ptr<Forma::Dir const> labelRequestDir,
    Forma::Ptr<Api::Status const> apiStatus, Forma::Ptr<WaitingLabelRequests> waiting,
    LabelWaitSm::Clock clock = LabelWaitSm::bootTime);

}  // namespace Mpls
