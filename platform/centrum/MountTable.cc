#include "platform/centrum/MountTable.h"

#include <unistd.h>

#include <utility>

#include "platform/centrum/MountRefusal.h"
#include "platform/centrum/PathNames.h"
#include "platform/centrum/ServerConnection.h"
#include "platform/forma/Errors.h"
#include "platform/forma/Trace.h"

namespace Centrum {

namespace {

Forma::TraceHandle trace("MountTable");

constexpr std::string_view serverDirectory = "centrum/";

/// Answers a mount that does not succeed, or not yet.
void answer(ServerConnection& connection, const Message::Mount& asked, MountStatus status,
            const std::string& text) {
  FORMA_TRACE(trace, 1, "mount of ", connection.holder(), ": ", status, " ", text);
  connection.send(Message::Mounted{asked.request, status, 0, 0, false, Forma::String8(text)});
}

/// Answers a mount if there is a problem; whether there is.
bool refused(ServerConnection& connection, const Message::Mount& asked,
             const MountProblem& problem) {
  if (problem) answer(connection, asked, problem->status, problem->text);
  return problem.has_value();
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
  const std::string name = canonicalPath(asked.path);
  if (asked.mode == static_cast<std::uint8_t>(MountMode::read)) read(connection, asked, name);
  else write(connection, asked, name);
}

// ---- Reading -----------------------------------------------------------------------------------

void MountTable::read(ServerConnection& connection, const Message::Mount& asked,
                      const std::string& name) {
  if (Path* path = shared_.database->find(name)) {
    if (refused(connection, asked, otherType(*path, asked))) return;
    if (published(*path)) return readPath(connection, asked, *path);
  }
  if (refused(connection, asked, noDirectory(*shared_.database, name))) return;
  waiting_.add({&connection, name, asked});
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

// ---- Writing -----------------------------------------------------------------------------------

void MountTable::write(ServerConnection& connection, const Message::Mount& asked,
                       const std::string& name) {
  if (!mayOwn(connection, asked, name)) return;
  Path* path = shared_.database->find(name);
  if (path && refused(connection, asked, otherType(*path, asked))) return;
  if (!path) path = create(connection, asked, name);
  if (!path) return;
  if (path->isDirectory()) readPath(connection, asked, *path);
  else own(connection, asked, *path);
}

/// Whether the connection may become, or is, the owner; answers if not.
bool MountTable::mayOwn(ServerConnection& connection, const Message::Mount& asked,
                        const std::string& name) {
  if (refused(connection, asked, missingRight(*shared_.listener, connection.peer(), name)))
    return false;
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
  mount.adopting = adopt;
  const bool known = path.writer() == asked.instance || (adopt && !published(path));
  connection.send(Message::Mounted{asked.request,
                                   mountSuccess(),
                                   path.id(),
                                   known ? path.lastBatch() : 0,
                                   known,
                                   {},
                                   path.writer()});
  if (mount.subscription) connection.feed().onceIs(*mount.subscription);
  else if (adopt && !known && !again) subscribe(mount, asked, true);
  if (adopt && (again || mount.subscription)) connection.feed().markDueIs();
}

/// Creates a path; answers, and returns null, when that is not possible.
Path* MountTable::create(ServerConnection& connection, const Message::Mount& asked,
                         const std::string& name) {
  if (refused(connection, asked, noDirectory(*shared_.database, name))) return nullptr;
  try {
    return &make(name, asked.typeName, asked.schema);
  } catch (const Forma::NameException& problem) {
    answer(connection, asked, mountWrongType(), problem.what());
    return nullptr;
  }
}

Path& MountTable::make(std::string_view name, std::string_view typeName, std::uint64_t schema) {
  Path& path = shared_.database->make(name, typeName, schema);
  shared_.log.made(path);
  shared_.logDue = true;
  for (Path* above = path.parent(); above; above = above->parent()) changed(place(*above));
  wakeWaiting(path);
  return path;
}

void MountTable::wakeWaiting(Path& path) {
  for (const WaitingMount& one : waiting_.take(path, published(path)))
    read(*one.connection, one.asked, one.name);
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
  if (std::exchange(mount.adopting, false) && !published(mount.place.path))
    publishEmpty(mount.place.path);
}

/// An owner that went without a word had nothing to say. Those who wait for its first words, such
/// as one who reads all entries of a directory, are not to wait for ever.
void MountTable::publishEmpty(Path& path) {
  constexpr std::uint64_t nobody = 1;  // instances are large random numbers
  shared_.database->apply(path, {}, false, nobody, 1);
  shared_.log.applied(path, {}, false);
  shared_.logDue = true;
  wakeWaiting(path);
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
