/// The copy handlers of a process, by the type that each handles.
#pragma once

#include <map>
#include <string_view>

#include "platform/session/EntityCopyHandler.h"

namespace Session {

/// Each library brings a directory entity in which its handlers stand; an agent takes in those of
/// the libraries whose configuration it copies.
///
/// Thread    one: that of the agent's event loop.
class MPLS_EXPORT CopyHandlers {
 public:
  /// Takes in a handler, and initializes it. Null raises NullException, a second handler of one
  /// type NameException.
  void add(const Forma::Ptr<EntityCopyHandler>& handler);
  /// Takes in all handlers that stand in `dir`, or in directories below it. Handlers that `dir`
  /// loses later stay.
  void addAllOf(const Forma::Ptr<Forma::Entity>& dir);

  /// The handler of a type, not owned; null when there is none.
  EntityCopyHandler* find(std::string_view typeName) const;

 private:
  std::map<std::string_view, Forma::Ptr<EntityCopyHandler>> handlers_;
};

}  // namespace Session
