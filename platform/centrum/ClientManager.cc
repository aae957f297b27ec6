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

std::string canonical(std::string_view path) {
  std::string joined;
  for (const std::string_view name : pathNames(path)) {
    if (!joined.empty()) joined.push_back('/');
    joined.append(name);
  }
  return joined;
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
  const auto found = byPath_.find(canonical(path.view()));
  if (found != byPath_.end() && found->second->info.mode == "x") publish(*found->second);
}

void ClientManager::adopted(ClientMount& mount) {
  if (mount.info.mode == "w" && mount.writable()) publish(mount);
}

void ClientManager::publish(ClientMount& mount) {
  if (std::exchange(mount.committed, true)) return;
  mount.changes.allChanged();
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
  const auto found = byPath_.find(canonical(path));
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
  const std::string name = canonical(path);
  if (const auto found = byPath_.find(name); found != byPath_.end())
    return otherMount(*found->second, typeName, mode);
  ClientMount& mount = *mounts_.emplace_back(std::make_unique<ClientMount>(tree_, applier_));
  byPath_.emplace(name, &mount);
  mount.request = static_cast<std::uint32_t>(mounts_.size());
  mount.info.path = name;
  mount.info.typeName = typeName;
  mount.info.mode = mode;
  mount.since = mount.ownerSince = loop_.now();
  mount.directory = typeName == Forma::Dir::formaTypeName;
  mount.type = mount.directory ? &Forma::Dir::formaEntityType() : registry_.findEntity(typeName);
  mount.committed = mode != "x";
  if (!mount.type || !mount.type->make)
    refused(mount, mountRefused_, name + ": this program does not know the type " + typeName);
  else request(mount);
  return {&mount, mount.status};
}

/// One copy serves all who read it; what is owned may be read besides.
MountResult ClientManager::otherMount(ClientMount& there, const std::string& typeName,
                                      const std::string& mode) {
  if (typeName != there.info.typeName) return {nullptr, mountWrongType_};
  if (mode != there.info.mode && mode != "r" && !there.directory) {
    MountInfo info = infoOf(there);
    info.problem = there.info.path + " is mounted \"" + there.info.mode + "\" by this program";
    observer_->onMountRefused(info);
    return {nullptr, mountRefused_};
  }
  return {&there, there.status};
}

void ClientManager::request(ClientMount& mount) {
  stateIs(mount, mount.content.filled() ? MountState::stale : MountState::waiting);
  if (!link_.up()) return;
  Message::Mount ask;
  ask.request = mount.request;
  ask.path = Forma::String8(mount.info.path);
  ask.typeName = Forma::String8(mount.info.typeName);
  ask.schema = mount.directory ? 0 : Forma::schemaHash(*mount.type, registry_);
  const bool adopting = mount.info.mode == "w" && !(mount.writable() && mount.content.filled());
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
  mount.number = mounted.path;
  mount.granted = true;
  byNumber_[mounted.path] = &mount;
  const auto entity = tree_.findOrMake(mount.info.path, *mount.type, mount.content.entity());
  if (!entity)
    return refused(mount, mountWrongType_, mount.info.path + ": another type is in the way");
  mount.content.entityIs(entity);
  if (mount.writable() && mount.content.filled() &&
      entity->formaReplica() != Forma::Replica::original)
    own(mount);  // the path was taken away, and made again
  tellChanges();
  if (!mount.content.filled()) {
    // Nothing comes for a replacing mount, nor for one of a path that nobody has written.
    stateIs(mount, MountState::filling);
    if (!mount.writable() || (mount.info.mode == "w" && !mounted.instanceKnown)) return;
    mount.committed = false;
    mount.content.filledIs();
    filled(mount);
    return checkGroups();
  }
  if (!mount.writable()) return;  // resumes: it is mounted again with the next complete mark
  if (mounted.instanceKnown) mount.changes.resendAfter(mounted.lastBatch);
  else if (mount.committed) mount.changes.allChanged();
  stateIs(mount, MountState::mounted);
}

void ClientManager::refused(ClientMount& mount, MountStatus status, std::string_view problem) {
  mount.info.problem = problem;
  mount.granted = false;
  // What was mounted before stays; it is asked for again when the connection is.
  if (!mount.content.filled()) mount.status = status;
  stateIs(mount, MountState::refused);
  observer_->onMountRefused(infoOf(mount));
  if (mount.content.filled() && mount.writable()) reclaimTimer_.scheduleAfter(reclaimPause);
  loop_.post([self = Forma::Ptr<ClientManager>(this)] { self->checkGroups(); });
}

/// What another one took over is asked for again: that one may have gone.
void ClientManager::reclaim() {
  for (const auto& mount : mounts_)
    if (mount->info.state == MountState::refused && !mount->failed() && mount->writable())
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

ClientMount& ClientManager::mountOf(std::uint32_t number) {
  const auto found = byNumber_.find(number);
  if (found == byNumber_.end())
    Forma::throwParseException("path number " + std::to_string(number) + " is not mounted");
  return *found->second;
}

// ---- The connection ----------------------------------------------------------------------------

void ClientManager::linkWaits(const std::string& problem) {
  observer_->onWaiting(link_.address(), problem);
}

void ClientManager::linkIsUp(const Message::Welcome& welcome) {
  epoch_ = welcome.epoch;
  sequence_ = welcome.sequence;
  observer_->onConnected(link_.address());
  for (const auto& mount : mounts_)
    if (!mount->failed()) request(*mount);
}

void ClientManager::linkIsDown(const std::string& reason) {
  byNumber_.clear();
  for (const auto& mount : mounts_) {
    mount->granted = mount->waitingTold = false;
    mount->content.reset();
    if (!mount->failed())
      stateIs(*mount, mount->content.filled() ? MountState::stale : MountState::waiting);
  }
  tellChanges();  // of what was being filled: what comes next may undo them
  observer_->onDisconnected(reason);
}

void ClientManager::linkStalled(bool stalled) { observer_->onStalled(stalled); }

void ClientManager::linkReceived(const Message::Any& message) {
  std::visit(
      [this](const auto& one) {
        if constexpr (requires { received(one); }) received(one);
        else Forma::throwParseException("a message of a client");
      },
      message);
}

void ClientManager::received(const Message::Mounted& mounted) {
  if (mounted.request == 0 || mounted.request > mounts_.size())
    Forma::throwParseException("a mount that was not asked for");
  ClientMount& mount = *mounts_[mounted.request - 1];
  const auto status = static_cast<MountStatus>(mounted.status);
  if (status == mountSuccess_) return granted(mount, mounted);
  if (status != mountPending_) return refused(mount, status, mounted.text.view());
  stateIs(mount, mount.content.filled() ? MountState::stale : MountState::waiting);
  if (!std::exchange(mount.waitingTold, true)) observer_->onMountWaits(infoOf(mount));
}

void ClientManager::received(const Message::Delta& delta) {
  ClientMount& mount = mountOf(delta.path);
  if (mount.writable() && mount.content.filled()) return;  // ours is what counts
  mount.content.received(delta);
}

void ClientManager::received(const Message::Mark& mark) {
  for (const auto& mount : mounts_) {
    counters_.changesApplied += mount->content.mark();
    if (!mount->granted || !mount->content.filled()) continue;
    if (mark.complete) {
      mount->epoch = epoch_;
      mount->sequence = mark.sequence;
    }
    if (mount->info.state == MountState::filling) filled(*mount);
    else if (mark.complete && mount->info.state == MountState::stale)
      stateIs(*mount, MountState::mounted);
  }
  if (mark.complete) sequence_ = mark.sequence;
  tellChanges();
  checkGroups();
}

/// A copy is whole for the first time.
void ClientManager::filled(ClientMount& mount) {
  mount.status = mountSuccess_;
  stateIs(mount, MountState::mounted);
  if (mount.writable()) own(mount);
}

void ClientManager::tellChanges() {
  applier_.tell([this](const std::exception_ptr& problem) { loop_.exceptionIs(problem); });
}

void ClientManager::checkGroups() {
  for (const auto& group : std::vector(groups_)) group->check();
}

void ClientManager::received(const Message::Owner& owner) {
  ClientMount& mount = mountOf(owner.path);
  const bool news = mount.info.ownerPresent != owner.present && !mount.info.holder.empty();
  mount.info.ownerPresent = owner.present;
  mount.info.holder = owner.holder.view();
  mount.ownerSince = loop_.now() - owner.age;
  if (news && !mount.directory) observer_->onOwner(infoOf(mount));
}

void ClientManager::received(const Message::Removed& removed) {
  ClientMount& mount = mountOf(removed.path);
  byNumber_.erase(removed.path);
  refused(mount, mountRemoved_, mount.info.path + " was taken away");
}

void ClientManager::received(const Message::Ack& ack) {
  mountOf(ack.path).changes.acknowledged(ack.number);
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
  for (const auto& mount : mounts_)
    if (mount->granted && !mount->changes.full()) sendChanges(*mount);
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
