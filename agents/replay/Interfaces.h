/// The interfaces of a recorded router: which name stands behind the number in its next hops.
///
/// Thread    one.
#pragma once

#include <cstdint>
#include <map>
#include <optional>

#include "agents/replay/Node.h"
#include "platform/netbase/IntfId.h"

namespace Replay {

/// What an event of the router's message bus holds: the object under "Ibus" of a recorded event, or
/// the whole line where only such are recorded; none for other events.
std::optional<Node> ibusOf(const Node& event);

class Interfaces {
 public:
  /// Takes an InterfaceUpd or InterfaceDel; whether a name changed. Other events change nothing.
  bool take(const Node& ibus);
  /// Files a name by hand, for inputs that tell it otherwise.
  void nameIs(std::uint32_t index, const Netbase::IntfId& name) { names_[index] = name; }

  /// Empty while nobody told.
  Netbase::IntfId name(std::uint32_t index) const;
  std::size_t size() const { return names_.size(); }

 private:
  std::map<std::uint32_t, Netbase::IntfId> names_;
};

}  // namespace Replay
