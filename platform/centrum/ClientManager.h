/// The entity manager of a client: mounts over one connection.
///
/// Thread    that of the event loop.
#pragma once

#include <map>
#include <memory>
#include <string>
#include <unordered_map>
#include <unordered_set>
#include <vector>

#include "platform/centrum/ClientLink.h"
#include "platform/centrum/ClientMount.h"
#include "platform/centrum/ConnectedEntityManager.h"

namespace Centrum {

class ClientGroup;

/// A mount, or why there is none.
struct MountResult {
  ClientMount* mount = nullptr;
  MountStatus status = mountPending_;
};

class ClientManager : public ConnectedEntityManager, private LinkOwner, private Forma::ChangeLog {
 public:
  ClientManager(Kiln::EventLoop& loop, const Forma::TypeRegistry& registry,
                std::unique_ptr<Connector> connector, const ConnectionOptions& options);
  ~ClientManager() override;

  Forma::Ptr<Forma::Entity> getEntity(const Forma::String8& path) const override;
  Forma::Ptr<MountGroup> getMountGroup() override;
  void commit(const Forma::String8& path) override;
  const Forma::Ptr<Forma::Dir>& root() const override { return tree_.root(); }
  bool connected() const override { return link_.up(); }
  bool stalled() const override { return link_.stalled(); }
  MountInfo mountInfo(std::string_view path) const override;
  std::vector<MountInfo> mountInfos() const override;
  std::size_t pendingMounts() const override { return groups_.size(); }
  bool allSent() const override;
  const ConnectionCounters& counters() const override;
  void observerIs(ConnectionObserver* observer) override;
  void close() override;

 private:
  friend class ClientGroup;

  // What groups ask for.
  /// The mount of a path; made, and asked of the server, when there is none.
  MountResult mountIs(const std::string& path, const std::string& typeName,
                      const std::string& mode);
  MountResult otherMount(ClientMount& there, const std::string& typeName, const std::string& mode);
  /// The owner of a path that nobody wrote before has seen it: what it holds now is published.
  void adopted(ClientMount& mount);
  /// A group that failed wants the mount no more: it is given up, unless others want it.
  void unwanted(ClientMount& mount);

  void linkWaits(const std::string& problem) override;
  void linkIsUp(const Message::Welcome& welcome) override;
  void linkReceived(const Message::Any& message) override;
  void linkIsDown(const std::string& reason) override;
  void linkStalled(bool stalled) override;
  Forma::Ptr<Forma::PtrInterface const> linkKeeper() const override {
    return Forma::Ptr<Forma::PtrInterface const>(this);
  }
  Sequence linkSequence() const override { return sequence_; }

  void received(const Message::Mounted& mounted);
  void received(const Message::Delta& delta);
  void received(const Message::Mark& mark);
  void received(const Message::Owner& owner);
  void received(const Message::Removed& removed);
  void received(const Message::Ack& ack);

  void changed(const Forma::Entity& entity, const Forma::MemberType& member,
               const void* key) override;
  [[noreturn]] void refuse(const Forma::Entity& entity) const override;

  void prepare(ClientMount& mount, const std::string& typeName, const std::string& mode);
  void request(ClientMount& mount);
  void begin(ClientMount& mount, const Message::Mounted& mounted);
  void ownAgain(ClientMount& mount, const Message::Mounted& mounted);
  void takenOver(ClientMount& mount);
  void giveBack(ClientMount& mount);
  void touch(ClientMount& mount);
  void sendIsDue(ClientMount& mount);
  void granted(ClientMount& mount, const Message::Mounted& mounted);
  void refused(ClientMount& mount, MountStatus status, std::string_view problem);
  void own(ClientMount& mount);
  void publish(ClientMount& mount);
  void reclaim();
  void stateIs(ClientMount& mount, MountState state);
  void filled(ClientMount& mount);
  void tellChanges();
  void checkGroups();
  void turnEnds();
  void sendChanges(ClientMount& mount);
  MountInfo infoOf(const ClientMount& mount) const;
  ClientMount* mountOf(std::uint32_t number);
  ClientMount* mountAbove(const Forma::Entity& entity, const Forma::Entity*& top) const;

  Kiln::EventLoop& loop_;
  const Forma::TypeRegistry& registry_;
  Forma::ContentApplier applier_;
  ClientTree tree_;
  ClientLink link_;
  const std::uint64_t instance_;
  Kiln::Timer reclaimTimer_;
  std::uint64_t turnEnd_;
  std::vector<std::unique_ptr<ClientMount>> mounts_;  // by request number, less one
  std::map<std::string, ClientMount*, std::less<>> byPath_;
  std::unordered_map<std::uint32_t, ClientMount*> byNumber_;
  std::unordered_map<const Forma::Entity*, ClientMount*> originals_;
  mutable const Forma::Entity* lastOriginal_ = nullptr;  // a change is mostly of the same one
  mutable ClientMount* lastMount_ = nullptr;
  std::vector<Forma::Ptr<ClientGroup>> groups_;  // closed, and not complete
  std::vector<ClientMount*> touched_;            // something arrived since the last mark
  std::vector<ClientMount*> sendDue_;            // have something to send
  std::unordered_set<std::uint32_t> givenBack_;  // numbers that the server may still use
  Epoch epoch_ = 0;
  Sequence sequence_ = 0;
  bool readinessChanged_ = false;  // a mount is ready: its groups may be
  bool closed_ = false;
  std::string path_;     // scratch
  std::string records_;  // scratch
  ConnectionObserver none_;
  ConnectionObserver* observer_ = &none_;
  mutable ConnectionCounters counters_;
};

}  // namespace Centrum
