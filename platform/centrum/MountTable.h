/// Who has mounted what: owners, readers, and mounts that wait for a path to be created.
///
/// Here it is decided whether a mount succeeds.
///
/// Thread    that of the event loop.
#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "platform/centrum/Feed.h"
#include "platform/centrum/OwnedPath.h"
#include "platform/centrum/ServerShared.h"
#include "platform/centrum/WaitingMounts.h"

namespace Centrum {

class ServerConnection;
struct ServerMount;

/// One path, as far as connections are concerned.
struct Place {
  bool ownerPresent() const { return owner != nullptr || ofServer; }
  Message::Owner ownerMessage(double now) const;

  Path& path;
  std::vector<Subscription*> readers;
  ServerMount* owner = nullptr;
  Forma::String8 holder;  ///< the owner, or the last one
  double since = 0;       ///< when the owner came or went
  bool ofServer = false;  ///< the server owns it
};

/// What one connection has mounted of one path: it reads it, owns it, or both.
struct ServerMount {
  ServerConnection& connection;
  Place& place;
  std::unique_ptr<Subscription> subscription;  ///< null when it owns the path and has its content
  std::optional<OwnedPath> owned;
  bool adopting = false;  ///< it became the owner to start from what is published
};

class MountTable {
 public:
  /// Longer names of paths are refused.
  static constexpr std::size_t pathLimit = 4096;

  explicit MountTable(ServerShared& shared);

  /// Answers a mount, at once or when the path is created.
  void mount(ServerConnection& connection, const Message::Mount& asked);
  /// The connection gives a path up. Destroys the mount's subscription and its ownership.
  void release(ServerMount& mount);
  /// The connection waits for nothing any more.
  void forgetWaiting(const ServerConnection& connection) { waiting_.forget(connection); }
  /// Applies a batch, unless it was applied before.
  void apply(ServerMount& mount, const Message::Batch& batch);
  /// Takes a path away. All mounts of it are gone then.
  void remove(Place& at);

  /// A path that the server itself writes; it is created if need be.
  Path& serverPath(std::string_view fullName, std::string_view typeName, std::uint64_t schema);
  /// Makes `records` the content of such a path. It is not kept in the log, so it is no ground from
  /// which readers could resume.
  void renew(Path& path, std::string_view records);
  /// Called when somebody begins to read a path of the server, before the content is sent.
  void onServerReadIs(std::function<void()> handler) { onServerRead_ = std::move(handler); }

  Place& place(Path& path);

 private:
  void read(ServerConnection& connection, const Message::Mount& asked, const std::string& name);
  void readPath(ServerConnection& connection, const Message::Mount& asked, Path& path);
  void write(ServerConnection& connection, const Message::Mount& asked, const std::string& name);
  void own(ServerConnection& connection, const Message::Mount& asked, Path& path);
  bool mayOwn(ServerConnection& connection, const Message::Mount& asked, const std::string& name);
  const Place* takeFromGone(const std::string& name, const ServerConnection& wanted);
  void subscribe(ServerMount& mount, const Message::Mount& asked, bool once);
  Path* create(ServerConnection& connection, const Message::Mount& asked, const std::string& name);
  Path& make(std::string_view name, std::string_view typeName, std::uint64_t schema);
  bool published(Path& path);
  void wakeWaiting(Path& path);
  void publishEmpty(Path& path);
  void changed(Place& at);
  void ownerChanged(Place& at);

  ServerShared& shared_;
  const Forma::String8 self_;
  const double started_;
  std::unordered_map<std::uint32_t, Place> places_;
  WaitingMounts waiting_;
  std::function<void()> onServerRead_;
};

}  // namespace Centrum
