#include "platform/centrum/MountTable.h"

#include <unistd.h>

#include <utility>

#include "platform/centrum/PathNames.h"
#include "platform/centrum/ServerConnection.h"
#include "platform/forma/Dir.h"
#include "platform/forma/Errors.h"
#include "platform/forma/Schema.h"
#include "platform/forma/Trace.h"

namespace Centrum {

namespace {

Forma::TraceHandle trace("MountTable");

constexpr std::string_view serverDirectory = "centrum/";

std::string normalized(std::string_view path) {
  std::string name;
  for (const std::string_view one : pathNames(path)) {
    if (!name.empty()) name += '/';
    name += one;
  }
  return name;
}

std::string shown(const std::string& name) { return name.empty() ? "the root directory" : name; }

/// Answers a mount that does not succeed, or not yet.
void answer(ServerConnection& connection, const Message::Mount& asked, MountStatus status,
            const std::string& text) {
  FORMA_TRACE(trace, 1, "mount of ", connection.holder(), ": ", status, " ", text);
  connection.send(Message::Mounted{asked.request, status, 0, 0, false, Forma::String8(text)});
}

}  // namespace

Message::Owner Place::ownerMessage(double now) const {
  const bool present = ownerPresent();
  return {path.id(), present, present ? 0 : now - since, holder};
}

MountTable::MountTable(ServerShared& shared)
    : shared_(shared),
      self_("centrum (pid " + std::to_string(::getpid()) + ", uid " + std::to_string(::geteuid()) +
            ")"),
      started_(shared.loop.now()) {}

Place& MountTable::place(Path& path) {
  return places_.try_emplace(path.id(), Place{path, {}, nullptr, {}, started_, false})
      .first->second;
}

void MountTable::mount(ServerConnection& connection, const Message::Mount& asked) {
  if (asked.path.size() > pathLimit || asked.typeName.size() > pathLimit)
    return answer(connection, asked, mountRefused(),
                  "a path or type name is longer than " + std::to_string(pathLimit) + " bytes");
  ++shared_.activity;
  const std::string name = normalized(asked.path);
  if (asked.mode == static_cast<std::uint8_t>(MountMode::read)) read(connection, asked, name);
  else write(connection, asked, name);
}

// ---- Reading -----------------------------------------------------------------------------------

void MountTable::read(ServerConnection& connection, const Message::Mount& asked,
                      const std::string& name) {
  if (Path* path = shared_.database->find(name)) {
    if (!acceptable(connection, asked, *path)) return;
    if (published(*path)) return readPath(connection, asked, *path);
  }
  if (const std::string problem = obstacle(name); !problem.empty())
    return answer(connection, asked, mountWrongType(), problem);
  if (connection.waiting == waitingLimit)
    Forma::throwRangeException("more than " + std::to_string(waitingLimit) + " mounts wait");
  waiting_.emplace(name, Waiting{&connection, asked});
  ++connection.waiting;
  answer(connection, asked, mountPending(), "");
}

/// A path whose owner has not written yet is not shown: what readers hold from an earlier time,
/// such as that of a database that lost its log, is better than nothing.
bool MountTable::published(Path& path) {
  return path.isDirectory() || path.writer() != 0 || place(path).ofServer;
}

void MountTable::readPath(ServerConnection& connection, const Message::Mount& asked, Path& path) {
  Place& at = place(path);
  ServerMount& mount = connection.mountOf(at);
  connection.send(Message::Mounted{asked.request, mountSuccess(), path.id(), 0, false, {}});
  if (!mount.subscription && !mount.owned) subscribe(mount, asked, false);
  else connection.feed().markDueIs();  // the client has, or will have, the content
  if (path.isDirectory()) return;
  if (mount.subscription) connection.feed().ownerChanged(*mount.subscription);
  else connection.send(at.ownerMessage(shared_.loop.now()));
  if (at.ofServer && onServerRead_) onServerRead_();
}

void MountTable::subscribe(ServerMount& mount, const Message::Mount& asked, bool once) {
  Feed& feed = mount.connection.feed();
  mount.subscription = std::make_unique<Subscription>(feed, mount);
  mount.subscription->once = once;
  const Database& database = *shared_.database;
  const bool resumed = !mount.place.ofServer && asked.epoch == database.epoch() &&
                       mount.subscription->cursor.toSequence(asked.since);
  feed.start(*mount.subscription, !resumed);
}

/// Whether the path is what was asked for; answers if not.
bool MountTable::acceptable(ServerConnection& connection, const Message::Mount& asked,
                            const Path& path) {
  const std::string name = shown(path.fullName());
  if (asked.typeName.view() != path.typeName()) {
    answer(connection, asked, mountWrongType(),
           name + " is of type " + path.typeName() + ", not of type " +
               std::string(asked.typeName.view()));
    return false;
  }
  if (path.isDirectory() || asked.schema == path.schema()) return true;
  answer(connection, asked, mountRefused(),
         name + ": the schema of " + path.typeName() + " is " +
             Forma::schemaHashText(asked.schema) + " here, but " +
             Forma::schemaHashText(path.schema()) + " in the database");
  return false;
}

/// What is in the way of a path that is not there; empty when nothing is.
std::string MountTable::obstacle(std::string_view name) const {
  for (std::size_t end = name.find('/'); end != std::string_view::npos;
       end = name.find('/', end + 1)) {
    const Path* parent = shared_.database->find(name.substr(0, end));
    if (!parent) break;
    if (!parent->isDirectory())
      return parent->fullName() + " is of type " + parent->typeName() + ", no directory for " +
             std::string(name);
  }
  return {};
}

// ---- Writing -----------------------------------------------------------------------------------

void MountTable::write(ServerConnection& connection, const Message::Mount& asked,
                       const std::string& name) {
  if (!mayOwn(connection, asked, name)) return;
  Path* path = shared_.database->find(name);
  if (path && !acceptable(connection, asked, *path)) return;
  if (!path) path = create(connection, asked, name);
  if (!path) return;
  if (path->isDirectory()) readPath(connection, asked, *path);
  else own(connection, asked, *path);
}

/// Whether the connection may become, or is, the owner; answers if not.
bool MountTable::mayOwn(ServerConnection& connection, const Message::Mount& asked,
                        const std::string& name) {
  if (!connection.mayWrite()) {
    const Peer& peer = connection.peer();
    answer(connection, asked, mountRefused(),
           shown(name) + ": writing needs " + shared_.listener->neededRight() + "; peer is uid " +
               std::to_string(peer.uid) + " gid " + std::to_string(peer.gid));
    return false;
  }
  std::string holder;
  if (name.starts_with(serverDirectory)) holder = self_.view();
  else if (const Place* at = takeFromGone(name, connection)) holder = at->holder.view();
  if (holder.empty()) return true;
  answer(connection, asked, mountRefused(), name + " is owned by " + holder);
  return false;
}

/// Where another connection owns the path; null otherwise. A client that was killed and started
/// again at once must not be told that it still holds the path.
const Place* MountTable::takeFromGone(const std::string& name, const ServerConnection& wanted) {
  for (bool first = true;; first = false) {
    Path* path = shared_.database->find(name);
    const Place* at = path ? &place(*path) : nullptr;
    if (!at || !at->owner || &at->owner->connection == &wanted) return nullptr;
    if (!first) return at;
    at->owner->connection.endIfGone();  // may remove the path
  }
}

void MountTable::own(ServerConnection& connection, const Message::Mount& asked, Path& path) {
  Place& at = place(path);
  ServerMount& mount = connection.mountOf(at);
  const bool again = mount.owned.has_value();
  if (!again) {
    mount.owned.emplace(asked.instance);
    at.owner = &mount;
    at.holder = connection.holder();
    at.since = shared_.loop.now();
    ownerChanged(at);
  }
  const bool adopt = asked.mode == static_cast<std::uint8_t>(MountMode::adopt);
  const bool known = path.writer() == asked.instance || (adopt && !published(path));
  connection.send(Message::Mounted{asked.request, mountSuccess(), path.id(),
                                   known ? path.lastBatch() : 0, known, {}});
  if (mount.subscription) connection.feed().onceIs(*mount.subscription);
  else if (adopt && !known && !again) subscribe(mount, asked, true);
  if (adopt && (again || mount.subscription)) connection.feed().markDueIs();
}

/// Creates a path; answers, and returns null, when that is not possible.
Path* MountTable::create(ServerConnection& connection, const Message::Mount& asked,
                         const std::string& name) {
  std::string problem = obstacle(name);
  try {
    if (problem.empty()) return &make(name, asked.typeName, asked.schema);
  } catch (const Forma::NameException& refusal) {
    problem = refusal.what();
  }
  answer(connection, asked, mountWrongType(), problem);
  return nullptr;
}

Path& MountTable::make(std::string_view name, std::string_view typeName, std::uint64_t schema) {
  Path& path = shared_.database->make(name, typeName, schema);
  shared_.log.made(path);
  shared_.logDue = true;
  for (Path* above = path.parent(); above; above = above->parent()) changed(place(*above));
  wakeWaiting(path);
  return path;
}

/// Mounts that wait for the path or a directory made for it, and those that waited in vain: for
/// something below what is no directory.
void MountTable::wakeWaiting(Path& path) {
  for (const Path* made = published(path) ? &path : path.parent(); made; made = made->parent()) {
    const auto [first, last] = waiting_.equal_range(made->fullName());
    wakeWaiting(first, last);
  }
  if (path.isDirectory()) return;
  const std::string below = path.fullName() + '/';
  const std::string behind = path.fullName() + static_cast<char>('/' + 1);
  wakeWaiting(waiting_.lower_bound(below), waiting_.lower_bound(behind));
}

void MountTable::wakeWaiting(WaitingMap::iterator first, WaitingMap::iterator last) {
  while (first != last) {
    const auto one = waiting_.extract(first++);
    --one.mapped().connection->waiting;
    read(*one.mapped().connection, one.mapped().asked, one.key());
  }
}

void MountTable::forgetWaiting(const ServerConnection& connection) {
  if (connection.waiting == 0) return;
  std::erase_if(waiting_, [&](const auto& one) { return one.second.connection == &connection; });
}

// ---- What owners do ----------------------------------------------------------------------------

void MountTable::apply(ServerMount& mount, const Message::Batch& batch) {
  Path& path = mount.place.path;
  const std::uint64_t instance = mount.owned->instance();
  const bool first = !published(path);
  if (path.writer() != instance || batch.number > path.lastBatch()) {
    const bool differs =
        shared_.database->apply(path, batch.records, batch.renew, instance, batch.number);
    shared_.log.applied(path, batch.records, batch.renew);
    shared_.logDue = true;
    if (differs) changed(mount.place);
  }
  mount.owned->taken(batch);
  if (first) wakeWaiting(path);
}

/// The log only notes that a sequence was used.
void MountTable::renew(Path& path, std::string_view records) {
  if (!shared_.database->apply(path, records, true, 0, 0)) return;
  shared_.logDue = true;
  changed(place(path));
}

void MountTable::changed(Place& at) {
  if (!at.ofServer) ++shared_.activity;
  for (Subscription* reader : at.readers) reader->feed.changed(*reader);
}

void MountTable::ownerChanged(Place& at) {
  ++shared_.activity;
  for (Subscription* reader : at.readers)
    if (!reader->mount.owned) reader->feed.ownerChanged(*reader);
}

void MountTable::release(ServerMount& mount) {
  ++shared_.activity;
  mount.subscription.reset();
  if (!std::exchange(mount.owned, std::nullopt)) return;
  mount.place.owner = nullptr;
  mount.place.since = shared_.loop.now();
  ownerChanged(mount.place);
}

void MountTable::remove(Place& at) {
  ++shared_.activity;
  Path& path = at.path;
  Path* parent = path.parent();
  const std::uint32_t id = path.id();
  for (const Subscription* reader : std::vector(at.readers))
    if (!reader->mount.owned) reader->mount.connection.removed(id, true);
  if (at.owner) at.owner->connection.removed(id, false);
  places_.erase(id);
  shared_.log.removed(path);
  shared_.logDue = true;
  shared_.database->remove(path);
  if (parent) changed(place(*parent));
}

/// What an older server left in the log may be of another type.
Path& MountTable::serverPath(std::string_view fullName, std::string_view typeName,
                             std::uint64_t schema) {
  Path* found = shared_.database->find(fullName);
  if (found && (found->typeName() != typeName || found->schema() != schema))
    remove(place(*std::exchange(found, nullptr)));
  Path& path = found ? *found : make(fullName, typeName, schema);
  Place& at = place(path);
  at.ofServer = true;
  at.holder = self_;
  return path;
}

}  // namespace Centrum
