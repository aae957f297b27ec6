/// What a recorded router tells about the labels that it installs.
#pragma once

#include <compare>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "agents/replay/Node.h"
#include "mpls/types/FwdEqvClass.h"
#include "mpls/types/LabelStack.h"

namespace Replay {

/// The label of RFC 3032 that is never on a packet: who asks for it wants none.
constexpr std::uint32_t implicitNull = 3;

/// A way for packets. Ordered by address, interface, labels.
struct NextHop {
  Netbase::IpGenAddr address;  ///< None: whoever is behind the interface.
  std::uint32_t ifindex = 0;
  Mpls::LabelStack labels;  ///< As sent; implicit null alone stands for no label.

  /// What stands on packets that leave this way.
  Mpls::LabelStack imposed() const;
  auto operator<=>(const NextHop&) const = default;
};

struct LabelChange {
  enum class Kind {
    add,      ///< the next hops join those of the label
    replace,  ///< the next hops take the place of those of the label
    remove    ///< exactly these next hops go; the label goes with its last one
  };
  Kind kind = Kind::add;
  Netbase::MplsLabel label;
  std::vector<NextHop> nextHops;
  Mpls::FwdEqvClass fec;  ///< The route that the label was bound to; no prefix when there is none.
  std::string protocol;
};

/// The change that a RouteMplsAdd or a RouteMplsDel asks for; none for other events. Raises
/// InputError.
std::optional<LabelChange> labelChangeFrom(const Node& ibus);

/// The next hops of a route's event, an array. Raises InputError.
std::vector<NextHop> nextHopsFrom(const Node& array);

}  // namespace Replay
