/// The label manager: gives blocks of labels out of the dynamic range to client agents.
///
/// Every request of a client that is there is answered by one block, published under the request's
/// identifier. A block stays with its request until that is withdrawn, the base of the range
/// changes, or the range shrinks below it; then another one takes its place, or the request waits.
///
/// Thread    the agent's event thread; no other.
/// Inputs    the configuration (the range "dynamic" and the routing switch), the directory of
///           clients and the requests of each, read through notifiees; never written.
/// Outputs   blocks of each client and the range in force, in Api::Status; written by this machine
///           alone.
/// Errors    RangeException out of whatever touches the range, while the configured one is a
///           LabelRange that was never set. Blocks stay as they are until a range can be read.
///           What observers raise is raised when the pass is over.
/// Restart   adopts what is published; anything inconsistent in it, and all blocks are reissued.
/// Cost      a change of one request costs a few hash lookups, whatever the number of others. A
///           change of the range, and a retry of what waits, visit every request once or twice.
#pragma once

#include <memory>

#include "mpls/entities/ApiStatus.h"
#include "mpls/entities/Config.h"
#include "mpls/labelmgr/DynamicRange.h"
#include "mpls/labelmgr/LabelManagerClient.h"
#include "mpls/labelmgr/LabelManagerClientMounter.h"
#include "platform/centrum/EntityManager.h"
#include "platform/forma/Dir.h"
#include "platform/forma/FirstException.h"
#include "platform/forma/HashMap.h"
#include "platform/kiln/NumAllocator.h"

namespace Mpls {

class MPLS_EXPORT LabelManagerSm : public Forma::PtrInterface {
 public:
  ~LabelManagerSm() override;

  // ---- What it works on -------------------------------------------------------------------------

  const Forma::Ptr<Forma::Dir const>& labelRequestDir() const { return labelRequestDir_; }
  const Forma::Ptr<Config const>& mplsConfig() const { return mplsConfig_; }
  const Forma::Ptr<Api::Status>& apiStatus() const { return apiStatus_; }
  const Forma::Ptr<LabelManagerClient>& client() const { return client_; }
  const Forma::Ptr<Kiln::NumAllocatorConfig>& drAllocConfig() const { return drAllocConfig_; }
  const Forma::Ptr<Kiln::NumAllocatorStatus>& drAllocStatus() const { return drAllocStatus_; }
  /// The numbers of blocks in use; null while no range with a whole block is in force.
  Forma::Ptr<Kiln::NumAllocator const> drAlloc() const { return drAlloc_; }
  /// Null for a client without an allocation.
  Forma::Ptr<LabelManagerClientInfo const> clientInfo(const Forma::Name& client) const;
  std::size_t clientInfos() const { return clientInfo_.size(); }
  /// Whether a mount of that client's requests is outstanding, or failed.
  bool pendingClientMount(const Forma::Name& client) const {
    return pendingClientMount_.contains(client);
  }
  Forma::Ptr<LabelManagerClientMounter> mounter(const Forma::Name& client) const;
  /// Gets or creates. Raises RangeException when it is there and files with another `to`.
  Forma::Ptr<LabelManagerClientMounter> newMounter(const Forma::Name& client,
                                                   const Forma::Ptr<LabelManagerClient>& to);
  /// Some request could not be served since the range was last found exhausted.
  bool requestBacklog() const { return requestBacklog_; }
  /// The allocator is that of the configured range.
  bool allocValid() const { return allocValid_; }
  /// Published blocks are still to be adopted: during the first pass, and after it for as long as
  /// no range could be read.
  bool restarting() const { return restarting_; }
  bool initialized() const { return initialized_; }

  // ---- Queries ----------------------------------------------------------------------------------

  /// The range "dynamic" of the configuration; the default one when that is absent or (0, 0).
  LabelRange configRange() const { return configured().range(); }
  std::uint32_t configRangeBase() const { return configured().base(); }
  std::uint32_t configRangeSize() const { return configured().range().size(); }
  /// One above the last label.
  std::uint32_t configRangeMax() const { return configured().max(); }
  /// Raises RangeException when that is no label.
  Netbase::MplsLabel blockStart(std::uint32_t index) const;
  std::uint32_t blockIdx(Netbase::MplsLabel label) const { return configured().blockIdx(label); }
  bool blockIsValid(const LabelBlock& block) const { return configured().contains(block); }
  /// No block can be given now.
  bool rangeExhausted() const { return !allocValid_ || drAllocStatus_->rangeExhausted(); }

  // ---- Handlers: may be called at any time, and again; do nothing before the first pass ---------

  /// The first full pass; again after every change of the routing switch.
  void handleInitialized();
  void checkClearLabelRanges();
  void handleLabelRange();
  /// Reserves the numbers of all published blocks. False, and traced, when one is inconsistent; the
  /// rest was not looked at then.
  bool syncAllocations();
  void handleLabelRequestDir();
  void handleLabelRequestDir(const Forma::Name& name);
  void handleLabelManagerClient();
  void handleLabelManagerClient(const Forma::Name& client);
  void handleLabelRequest();
  /// Aborts when the client is not there.
  void handleLabelRequest(const Forma::Name& client, const Forma::Name& id);
  /// Both abort when the client has no allocation.
  void allocateLabelBlock(const Forma::Name& client, const Forma::Name& id);
  void removeLabelBlock(const Forma::Name& client, const Forma::Name& id);
  void handleRangeExhausted();
  /// Sets the range of the allocator's configuration, or makes a new one for another `moveCount`.
  void drAllocConfigIs(const Kiln::Range& range, std::uint32_t moveCount);

 private:
  friend Forma::Ptr<LabelManagerSm> labelManagerSmFactory(Kiln::TimerWheel&,
                                                          Forma::Ptr<Centrum::EntityManager>,
                                                          Forma::Ptr<Forma::Dir const>,
                                                          Forma::Ptr<Config const>,
                                                          Forma::Ptr<Api::Status>);

  struct DirReactor : Forma::Dir::NotifieeConst {
    explicit DirReactor(LabelManagerSm& sm) : owner(sm) {}
    void onEntry(const Forma::Name& name) override { owner.handleLabelRequestDir(name); }
    LabelManagerSm& owner;
  };
  struct ConfigReactor : Config::NotifieeConst {
    explicit ConfigReactor(LabelManagerSm& sm) : owner(sm) {}
    void onLabelRange(const Forma::Name& /*rangeType*/) override { owner.handleLabelRange(); }
    void onMplsRouting() override { owner.checkClearLabelRanges(); }
    LabelManagerSm& owner;
  };
  struct ClientReactor : LabelManagerClient::NotifieeConst {
    explicit ClientReactor(LabelManagerSm& sm) : owner(sm) {}
    void onRequest(const Forma::Name& name) override { owner.clientRequestIs(name); }
    LabelManagerSm& owner;
  };
  /// Watches the requests of one client.
  struct RequestReactor : ClientLabelRequest::NotifieeConst {
    RequestReactor(LabelManagerSm& sm, Forma::Name name) : owner(sm), client(std::move(name)) {}
    void onLabelRequest(const Forma::String8& id) override;
    LabelManagerSm& owner;
    Forma::Name client;
  };
  struct StatusReactor : Kiln::NumAllocatorStatus::NotifieeConst {
    explicit StatusReactor(LabelManagerSm& sm) : owner(sm) {}
    void onRangeExhausted() override { owner.handleRangeExhausted(); }
    LabelManagerSm& owner;
  };

  LabelManagerSm(Kiln::TimerWheel& timerWheel, Forma::Ptr<Centrum::EntityManager> entityManager,
                 Forma::Ptr<Forma::Dir const> labelRequestDir, Forma::Ptr<Config const> mplsConfig,
                 Forma::Ptr<Api::Status> apiStatus);

  DynamicRange configured() const;
  void setAllocator(const DynamicRange& range, Forma::FirstException& first);
  void newAllocator(Forma::FirstException& first);
  void forgetIndexesOutside(const DynamicRange& range);
  void dropForgottenBlocks(const DynamicRange& range, Forma::FirstException& first);
  void dropAllocations(Forma::FirstException& first);
  bool adopt(const Forma::Name& client, const Forma::Name& id, const LabelBlock& block,
             const DynamicRange& range);

  void mountClient(const Forma::Name& name);
  void unmountClient(const Forma::Name& name);
  void clientRequestIs(const Forma::Name& name);
  void serveClient(const Forma::Name& name, const Forma::Ptr<ClientLabelRequest const>& request);
  void removeClient(const Forma::Name& name);

  void allocateBlock(const Forma::Name& client, const Forma::Name& id, LabelBlockAllocation& alloc);
  bool keepBlock(const Forma::Name& client, const Forma::Name& id, LabelBlockAllocation& alloc,
                 Forma::FirstException& first);
  void grantBlock(const Forma::Name& client, const Forma::Name& id, LabelBlockAllocation& alloc,
                  Forma::FirstException& first);
  void giveBackUnused(LabelManagerClientInfo& info, const Forma::Name& id, std::uint32_t index,
                      const LabelBlockAllocation& alloc);
  void giveBack(const Forma::Name& client, const Forma::Name& id, std::uint32_t index);
  bool stillOpen(const Forma::Name& client, const Forma::Name& id,
                 const LabelBlockAllocation& alloc) const;
  bool isPresent(const Forma::Name& client, const ClientLabelRequest* request) const {
    return client_->requestFind(client) == request;
  }
  LabelManagerClientInfo& infoOf(const Forma::Name& client);
  LabelManagerClientInfo* infoFind(const Forma::Name& client) const;

  Kiln::TimerWheel& timerWheel_;
  const Forma::Ptr<Centrum::EntityManager> entityManager_;
  const Forma::Ptr<Forma::Dir const> labelRequestDir_;
  const Forma::Ptr<Config const> mplsConfig_;
  const Forma::Ptr<Api::Status> apiStatus_;
  const Forma::Ptr<LabelManagerClient> client_;
  const Forma::Ptr<Kiln::NumAllocatorStatus> drAllocStatus_;
  Forma::Ptr<Kiln::NumAllocatorConfig> drAllocConfig_;
  Forma::Ptr<Kiln::NumAllocator> drAlloc_;
  /// There is one for each allocation that is published.
  Forma::HashMap<Forma::Name, Forma::Ptr<LabelManagerClientInfo>> clientInfo_;
  Forma::HashMap<Forma::Name, bool> pendingClientMount_;
  Forma::HashMap<Forma::Name, Forma::Ptr<LabelManagerClientMounter>> mounter_;
  Forma::HashMap<Forma::Name, std::shared_ptr<RequestReactor>> clientRequest_;
  DynamicRange inForce_{LabelRangeInfo::dynamicDefaultRange};  ///< while allocValid_
  /// The allocator holds the numbers of all published blocks, by the base in force.
  bool settled_ = false;
  bool requestBacklog_ = false;
  bool allocValid_ = false;
  bool restarting_ = false;
  bool initialized_ = false;
  std::uint64_t rangePass_ = 0;  ///< counts passes over the range: an observer may start another
  std::uint64_t handled_ = 0;    ///< counts handlers: whether an observer made one run meanwhile
  DirReactor dirReactor_;
  ConfigReactor configReactor_;
  StatusReactor statusReactor_;
  ClientReactor clientReactor_;
};

/// Makes the machine and runs its first full pass. The wheel must outlive the machine. Null
/// pointers raise NullException "null ValidPtr". To be called when all mounts are complete: a
/// configuration that is not mounted reads as routing off, and would take every block away. What
/// the first pass raises as a Forma::Exception is recorded in the ring trace, and the machine goes
/// on.
MPLS_EXPORT Forma::Ptr<LabelManagerSm> labelManagerSmFactory(
    Kiln::TimerWheel& timerWheel, Forma::Ptr<Centrum::EntityManager> entityManager,
    Forma::Ptr<Forma::Dir const> labelRequestDir, Forma::Ptr<Config const> mplsConfig,
    Forma::Ptr<Api::Status> apiStatus);

}  // namespace Mpls
