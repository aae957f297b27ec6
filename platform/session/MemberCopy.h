/// The copy of one member of an entity onto that of another one of the same type.
///
/// What comes is written before what goes is removed: a collection that changes completely is never
/// empty in between.
///
/// Thread    that of the copy.
#pragma once

#include "platform/forma/Entity.h"
#include "platform/forma/EntityType.h"
#include "platform/session/EntityCopy.h"

namespace Session {

class MemberCopy {
 public:
  /// All arguments must outlive it; what fails goes to `copy`.
  MemberCopy(EntityCopy& copy, const Forma::MemberType& member, Forma::Entity& dest,
             const Forma::Entity& src, const CopyPath& above)
      : copy_(copy), member_(member), dest_(dest), src_(src), above_(above) {}

  void run();

 private:
  void values();
  void references();
  void reference();
  void children();
  void element(const void* key, const Forma::Entity& from, const CopyPath& path);
  Forma::Ptr<Forma::Entity> child(const void* key, const Forma::Entity& from);
  Forma::Ptr<Forma::Entity> entry(const Forma::Entity& from);
  void removeOthers();
  bool mayHaveOthers() const;
  template <class Step>
  void attempt(Step step) {
    copy_.attempt(CopyPath(above_, member_.name), step);
  }

  EntityCopy& copy_;
  const Forma::MemberType& member_;
  Forma::Entity& dest_;
  const Forma::Entity& src_;
  const CopyPath& above_;
};

}  // namespace Session
