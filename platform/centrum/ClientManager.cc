#include "platform/centrum/ClientManager.h"

#include <algorithm>
#include <random>

#include "platform/centrum/ClientGroup.h"
#include "platform/centrum/PathNames.h"
#include "platform/forma/Schema.h"
#include "platform/forma/Trace.h"

namespace Centrum {

FORMA_DEFINE_ENTITY(UnknownEntity)
UnknownEntity::~UnknownEntity() = default;
ConnectedEntityManager::~ConnectedEntityManager() = default;
ConnectionObserver::~ConnectionObserver() = default;
void ConnectionObserver::onWaiting(const std::string& /*address*/, const std::string& /*why*/) {}
void ConnectionObserver::onConnected(const std::string& /*address*/) {}
void ConnectionObserver::onDisconnected(const std::string& /*reason*/) {}
void ConnectionObserver::onStalled(bool /*stalled*/) {}
void ConnectionObserver::onMountWaits(const MountInfo& /*mount*/) {}
void ConnectionObserver::onMountRefused(const MountInfo& /*mount*/) {}
void ConnectionObserver::onOwner(const MountInfo& /*mount*/) {}

namespace {

Forma::TraceHandle trace("CentrumClient");

constexpr double reclaimPause = 5.0;  // seconds until a path that another one owns is claimed again

/// Names this run of the program to the server; never 0.
std::uint64_t newInstance() {
  std::random_device random;
  return (std::uint64_t{random()} << 32 | random()) | 1U;
}

}  // namespace

Forma::Ptr<ConnectedEntityManager> connectedEntityManagerFactory(
    Kiln::EventLoop& loop, const Forma::TypeRegistry& registry,
    std::unique_ptr<Connector> connector, ConnectionOptions options) {
  return Forma::Ptr<ConnectedEntityManager>(
      new ClientManager(loop, registry, std::move(connector), options));
}

ClientManager::ClientManager(Kiln::EventLoop& loop, const Forma::TypeRegistry& registry,
                             std::unique_ptr<Connector> connector, const ConnectionOptions& options)
    : loop_(loop),
      registry_(registry),
      tree_(registry, applier_),
      link_(loop, std::move(connector), options.name, *this),
      instance_(newInstance()),
      reclaimTimer_(loop.timers(), [this] { reclaim(); }),
      turnEnd_(loop.turnEndIs([this] { turnEnds(); })) {
  tree_.logIs(this);
  link_.start();
}

ClientManager::~ClientManager() { close(); }

void ClientManager::close() {
  if (std::exchange(closed_, true)) return;
  for (const auto& mount : mounts_)
    if (mount->granted) sendChanges(*mount);
  link_.stop();
  reclaimTimer_.cancel();
  loop_.turnEndDel(turnEnd_);
  tree_.logIs(nullptr);
  for (const auto& group : std::exchange(groups_, {})) group->cancel();
}

Forma::Ptr<Forma::Entity> ClientManager::getEntity(const Forma::String8& path) const {
  return tree_.find(path.view());
}

Forma::Ptr<MountGroup> ClientManager::getMountGroup() {
  return Forma::Ptr<MountGroup>(new ClientGroup(Forma::Ptr<ClientManager>(this)));
}

void ClientManager::commit(const Forma::String8& path) {
  const auto found = byPath_.find(canonicalPath(path.view()));
  if (found != byPath_.end() && found->second->info.mode == "x") publish(*found->second);
}

void ClientManager::adopted(ClientMount& mount) {
  if (mount.info.mode == "w" && mount.writable()) publish(mount);
}

void ClientManager::publish(ClientMount& mount) {
  if (std::exchange(mount.committed, true)) return;
  mount.changes.allChanged();
  sendIsDue(mount);
  loop_.post([] {});  // so that there is an end of a turn
}

bool ClientManager::allSent() const {
  return std::ranges::all_of(mounts_, [](const auto& mount) {
    return !mount->writable() || !mount->committed || mount->changes.settled();
  });
}

const ConnectionCounters& ClientManager::counters() const {
  counters_.bytesReceived = link_.bytesReceived();
  counters_.bytesSent = link_.bytesSent();
  counters_.connects = link_.connects();
  counters_.snapshots = 0;
  for (const auto& mount : mounts_) counters_.snapshots += mount->content.snapshots();
  return counters_;
}

void ClientManager::observerIs(ConnectionObserver* observer) {
  observer_ = observer ? observer : &none_;
}

MountInfo ClientManager::infoOf(const ClientMount& mount) const {
  MountInfo info = mount.info;
  info.age = loop_.now() - mount.since;
  info.ownerAge = info.ownerPresent ? 0 : loop_.now() - mount.ownerSince;
  return info;
}

MountInfo ClientManager::mountInfo(std::string_view path) const {
  const auto found = byPath_.find(canonicalPath(path));
  if (found != byPath_.end()) return infoOf(*found->second);
  MountInfo info;
  info.path = path;
  return info;
}

std::vector<MountInfo> ClientManager::mountInfos() const {
  std::vector<MountInfo> infos;
  for (const auto& [path, mount] : byPath_) infos.push_back(infoOf(*mount));
  return infos;
}

// ---- Mounts ------------------------------------------------------------------------------------

MountResult ClientManager::mountIs(const std::string& path, const std::string& typeName,
                                   const std::string& mode) {
  const std::string name = canonicalPath(path);
  const auto found = byPath_.find(name);
  if (found != byPath_.end() && !found->second->failed())
    return otherMount(*found->second, typeName, mode);
  ClientMount* mount = found != byPath_.end() ? found->second : nullptr;
  if (!mount) {
    mount = mounts_.emplace_back(std::make_unique<ClientMount>(tree_, applier_)).get();
    byPath_.emplace(name, mount);
    tree_.keep(name);
    mount->request = static_cast<std::uint32_t>(mounts_.size());
    mount->info.path = name;
  }
  prepare(*mount, typeName, mode);
  return {mount, mount->status};
}

/// Asks for a mount, for the first time or after it was refused or given up.
void ClientManager::prepare(ClientMount& mount, const std::string& typeName,
                            const std::string& mode) {
  mount.info.typeName = typeName;
  mount.info.mode = mode;
  mount.info.problem.clear();
  mount.since = mount.ownerSince = loop_.now();
  mount.directory = typeName == Forma::Dir::formaTypeName;
  mount.type = mount.directory ? &Forma::Dir::formaEntityType() : registry_.findEntity(typeName);
  mount.status = mountPending_;
  mount.committed = mount.lost = mount.handedOut = false;
  mount.writer = 0;
  if (mount.type && mount.type->make) return request(mount);
  refused(mount, mountRefused_,
          mount.info.path + ": this program does not know the type " + typeName);
}

void ClientManager::unwanted(ClientMount& mount) {
  if (--mount.groups != 0 || mount.failed()) return;
  giveBack(mount);
  mount.status = mountRefused_;
  stateIs(mount, MountState::unmounted);
}

/// The path is left to others. What is on its way from the server is ignored.
void ClientManager::giveBack(ClientMount& mount) {
  if (mount.granted) {
    link_.send(Message::Unmount{mount.number});
    byNumber_.erase(mount.number);
    givenBack_.insert(mount.number);
    loop_.post([] {});  // so that there is an end of a turn
  }
  mount.granted = mount.current = false;
  mount.content.reset();
  mount.content.filledIsNot();
  const auto& entity = mount.content.entity();
  if (!entity || originals_.erase(entity.get()) == 0) return;
  lastOriginal_ = nullptr;
  entity->formaReplicaIs(Forma::Replica::copy);
}

/// One copy serves all who read it; what is owned may be read besides.
MountResult ClientManager::otherMount(ClientMount& there, const std::string& typeName,
                                      const std::string& mode) {
  const bool sameType = typeName == there.info.typeName;
  if (sameType && (mode == there.info.mode || mode == "r" || there.directory))
    return {&there, there.status};
  MountInfo info = infoOf(there);
  info.problem = there.info.path + " is mounted \"" + there.info.mode + "\" as " +
                 there.info.typeName + " by this program";
  observer_->onMountRefused(info);
  return {nullptr, sameType ? mountRefused_ : mountWrongType_};
}

void ClientManager::request(ClientMount& mount) {
  stateIs(mount, mount.content.filled() ? MountState::stale : MountState::waiting);
  if (!link_.up()) return;
  Message::Mount ask;
  ask.request = mount.request;
  ask.path = Forma::String8(mount.info.path);
  ask.typeName = Forma::String8(mount.info.typeName);
  ask.schema = mount.directory ? 0 : Forma::schemaHash(*mount.type, registry_);
  const bool adopting = mount.info.mode == "w" && (mount.directory || !mount.content.filled());
  const MountMode mode = mount.info.mode == "r" ? MountMode::read
                         : adopting             ? MountMode::adopt
                                                : MountMode::replace;
  ask.mode = static_cast<std::uint8_t>(mode);
  ask.instance = instance_;
  if (mount.content.filled()) {
    ask.epoch = mount.epoch;
    ask.since = mount.sequence;
  }
  link_.send(ask);
}

void ClientManager::granted(ClientMount& mount, const Message::Mounted& mounted) {
  givenBack_.erase(mounted.path);
  mount.number = mounted.path;
  mount.granted = true;
  if (mount.failed()) return giveBack(mount);  // nobody wants it any more
  byNumber_[mounted.path] = &mount;
  touch(mount);
  const auto entity = tree_.findOrMake(mount.info.path, *mount.type, mount.content.entity());
  if (!entity)
    return refused(mount, mountWrongType_, mount.info.path + ": another type is in the way");
  mount.content.entityIs(entity);
  if (mount.writable() && mount.content.filled() &&
      entity->formaReplica() != Forma::Replica::original)
    own(mount);  // the path was taken away, and made again
  tellChanges();
  if (!mount.content.filled()) begin(mount, mounted);
  else if (mount.writable()) ownAgain(mount, mounted);
  // A copy resumes: it is mounted again with the next complete mark.
}

/// Nothing comes for a replacing mount, nor for one of a path that nobody has written.
void ClientManager::begin(ClientMount& mount, const Message::Mounted& mounted) {
  stateIs(mount, MountState::filling);
  mount.writer = mounted.writer;
  if (!mount.writable() || (mount.info.mode == "w" && !mounted.instanceKnown)) return;
  mount.content.filledIs();
  filled(mount);
  checkGroups();
}

/// The connection is back. What another one has written since is not overwritten by an owner that
/// started from what was published: it would have to start from that again.
void ClientManager::ownAgain(ClientMount& mount, const Message::Mounted& mounted) {
  const bool others = mounted.writer != 0 && mounted.writer != instance_;
  if (others && mounted.writer != mount.writer && mount.info.mode == "w") return takenOver(mount);
  if (others && mounted.writer == mount.writer) mount.changes.resendAfter(0);  // ours got lost
  else if (mounted.instanceKnown) mount.changes.resendAfter(mounted.lastBatch);
  else if (mount.committed) mount.changes.allChanged();
  stateIs(mount, MountState::mounted);
  sendIsDue(mount);
}

void ClientManager::takenOver(ClientMount& mount) {
  mount.lost = true;
  link_.send(Message::Unmount{mount.number});
  byNumber_.erase(mount.number);
  givenBack_.insert(mount.number);
  refused(
      mount, mountRefused_,
      mount.info.path + " was written by another process meanwhile; to adopt that, start again");
}

void ClientManager::refused(ClientMount& mount, MountStatus status, std::string_view problem) {
  const bool news = mount.info.problem != problem;
  mount.info.problem = problem;
  mount.granted = mount.current = false;
  // What was mounted before stays; it is asked for again when the connection is.
  if (!mount.content.filled()) mount.status = status;
  stateIs(mount, MountState::refused);
  if (news) observer_->onMountRefused(infoOf(mount));
  if (mount.content.filled() && mount.writable()) reclaimTimer_.scheduleAfter(reclaimPause);
  loop_.post([self = Forma::Ptr<ClientManager>(this)] { self->checkGroups(); });
}

/// What another one took over is asked for again: that one may have gone.
void ClientManager::reclaim() {
  for (const auto& mount : mounts_)
    if (mount->info.state == MountState::refused && !mount->failed() && !mount->lost &&
        mount->writable())
      request(*mount);
}

/// From now on the entity is the original, and its changes are sent.
void ClientManager::own(ClientMount& mount) {
  const Forma::Entity* entity = mount.content.entity().get();
  originals_[entity] = &mount;
  mount.content.entity()->formaReplicaIs(Forma::Replica::original);
}

void ClientManager::stateIs(ClientMount& mount, MountState state) {
  if (mount.info.state == state) return;
  FORMA_TRACE(trace, 1, "stateIs", " of ", mount.info.path, " ", static_cast<unsigned>(state));
  mount.info.state = state;
  mount.since = loop_.now();
}

/// Null when it was given back, which the server may not know yet.
ClientMount* ClientManager::mountOf(std::uint32_t number) {
  const auto found = byNumber_.find(number);
  if (found != byNumber_.end()) return found->second;
  if (givenBack_.contains(number)) return nullptr;
  Forma::throwParseException("path number " + std::to_string(number) + " is not mounted");
}

void ClientManager::touch(ClientMount& mount) {
  if (!std::exchange(mount.touched, true)) touched_.push_back(&mount);
}

void ClientManager::sendIsDue(ClientMount& mount) {
  if (!mount.changes.empty() && !std::exchange(mount.sendDue, true)) sendDue_.push_back(&mount);
}

// ---- Changes of this process -------------------------------------------------------------------

ClientMount* ClientManager::mountAbove(const Forma::Entity& entity,
                                       const Forma::Entity*& top) const {
  for (top = &entity; top; top = top->parent())
    if (top == lastOriginal_) return lastMount_;
  for (top = &entity; top; top = top->parent()) {
    const auto found = originals_.find(top);
    if (found == originals_.end()) continue;
    lastOriginal_ = top;
    return lastMount_ = found->second;
  }
  return nullptr;
}

void ClientManager::changed(const Forma::Entity& entity, const Forma::MemberType& member,
                            const void* key) {
  const Forma::Entity* top = nullptr;
  ClientMount* const mount = mountAbove(entity, top);
  if (!mount || !mount->committed) return;
  path_.clear();
  Forma::encodePath(path_, *top, entity, member, key);
  mount->changes.changed(path_, &entity != top);
  sendIsDue(*mount);
}

void ClientManager::refuse(const Forma::Entity& entity) const {
  const std::string name = entity.fullName();
  std::string text = name + " is read-only here";
  for (std::string_view path = name;; path = path.substr(0, path.rfind('/'))) {
    const auto found = byPath_.find(path);
    if (found != byPath_.end() && !found->second->info.holder.empty())
      text += "; " + found->first + " is owned by " + found->second->info.holder;
    if (found != byPath_.end() || path.find('/') == std::string_view::npos) break;
  }
  Forma::throwAccessException(text + "; needed: a writable mount");
}

void ClientManager::turnEnds() {
  for (ClientMount* mount : std::exchange(sendDue_, {})) {
    mount->sendDue = false;
    // Else it is due again when it is granted, or an acknowledgement comes.
    if (mount->granted && !mount->changes.full()) sendChanges(*mount);
  }
  link_.flush();
}

void ClientManager::sendChanges(ClientMount& mount) {
  if (!mount.writable() || !mount.committed || mount.changes.empty()) return;
  if (mount.info.state != MountState::mounted) return;
  Message::Batch batch = mount.changes.takeBatch(*mount.content.entity(), records_);
  batch.path = mount.number;
  link_.send(batch);
}

}  // namespace Centrum
