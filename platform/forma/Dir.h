/// Directories: entities whose children, of any type, are filed by name. The tree of the central
/// database is made of them.
///
/// Thread    one: that of the agent's event loop.
#pragma once

#include <string_view>

#include "platform/forma/Declare.h"

namespace Forma {

class MPLS_EXPORT Dir : public NamedEntity {
  FORMA_ENTITY(Forma::Dir, NamedEntity, entry)

 public:
  class NotifieeConst : public NotifieeOf<Dir> {
   public:
    /// The entry `name` came or went; read entry(name) to see which.
    virtual void onEntry(const Name& /*name*/) {}
  };
  using Notifiee = NotifieeMutable<Dir, NotifieeConst>;

  using NamedEntity::NamedEntity;
  ~Dir() override;

  /// The entry called `name`; null when there is none.
  Ptr<Entity> entry(const Name& name) const { return entry_.find(name); }
  /// Files `child` under its own name, in place of any entry of that name. What another entity owns
  /// is removed there first. Null is refused (NullException), and so is a directory in which this
  /// one lies (RangeException).
  void entryIs(Ptr<Entity> child);
  /// Gets or creates the entry `name`. Raises NameException when the type is not registered or
  /// cannot be made from a name alone, or when the entry is there and of another type.
  Ptr<Entity> newEntity(const TypeRegistry& registry, std::string_view typeName, Name name);

  /// Replication only: files an entry without telling anybody, in a read-only copy, too.
  void formaFile(Ptr<Entity> child);

  using Entries = Children<Name, Entity, false, MemberKind::entries>;
  /// Registry access to the entries.
  static void formaEntries(MemberType& type, Entries Dir::*);

  FORMA_COLLECTION(Name, Ptr<Entity>, entry, onEntry)

 private:
  bool drop(const Name& name);

  Entries entry_;
};

FORMA_FACTORY(dirFactory, Dir, Name)

}  // namespace Forma
