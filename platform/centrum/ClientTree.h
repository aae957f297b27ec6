/// The local tree of a client: directories, and the entities that are mounted in them. All of it is
/// read-only to the agent, but for what is mounted writable.
///
/// Thread    that of the event loop.
#pragma once

#include <set>
#include <string>
#include <string_view>

#include "platform/forma/Content.h"
#include "platform/forma/Dir.h"

namespace Centrum {

/// The root directory, which knows who records the changes below it.
class TreeRoot : public Forma::Dir {
 public:
  TreeRoot() : Dir(Forma::Name()) {}
  Forma::ChangeLog* formaLog() const override { return log_; }
  void logIs(Forma::ChangeLog* log) { log_ = log; }

 private:
  Forma::ChangeLog* log_ = nullptr;
};

class ClientTree {
 public:
  ClientTree(const Forma::TypeRegistry& registry, Forma::ContentApplier& applier);

  const Forma::Ptr<Forma::Dir>& root() const { return root_; }
  void logIs(Forma::ChangeLog* log) { treeRoot_->logIs(log); }

  Forma::Ptr<Forma::Entity> find(std::string_view path) const;
  /// Gets or makes the entity of that type at `path`, and the directories above it; notes what that
  /// changes. Null when another type is there, or something on the way is no directory. `wanted`,
  /// unless it is null, is the entity that must stand there: it may have been taken away.
  Forma::Ptr<Forma::Entity> findOrMake(std::string_view path, const Forma::EntityType& type,
                                       const Forma::Ptr<Forma::Entity>& wanted);

  /// Directory entries as the server states them. Each notes what it changes; an entry that is
  /// there with that type is left alone.
  void entryIs(Forma::Dir& dir, std::string_view name, std::string_view typeName);
  void entryDel(Forma::Dir& dir, std::string_view name);

  /// A path is mounted. What a server that has lost its content does not know of stays as it is:
  /// its owner will bring it back.
  void keep(const std::string& path) { kept_.insert(path); }
  /// Whether `entity`, or something below it, is mounted.
  bool keeps(const Forma::Entity& entity) const;

 private:
  void note(Forma::Dir& dir, std::string_view name);
  void put(Forma::Dir& dir, const Forma::Ptr<Forma::Entity>& entity);

  const Forma::TypeRegistry& registry_;
  Forma::ContentApplier& applier_;
  Forma::Ptr<TreeRoot> treeRoot_;
  Forma::Ptr<Forma::Dir> root_;
  std::set<std::string> kept_;
};

}  // namespace Centrum
