/// LDP messages (RFC 5036, section 3.5), as far as bindings depend on them.
#pragma once

#include <optional>
#include <variant>
#include <vector>

#include "agents/replay/Node.h"
#include "mpls/types/FwdEqvClass.h"
#include "platform/netbase/IpGenAddr.h"
#include "platform/netbase/MplsLabel.h"

namespace LdpAgent {

/// Begins a session. What goes before it belongs to the session before.
struct Initialization {};
/// The first one that is received makes the session operational.
struct Keepalive {};

struct AddressMessage {
  bool isWithdrawn = false;
  std::vector<Netbase::IpGenAddr> addresses;
};

/// One FEC, or all of a kind (RFC 5918).
struct FecElement {
  std::optional<Mpls::FwdEqvClass> fec;                 ///< none: the wildcard
  Netbase::AddressFamily family = Netbase::afUnknown_;  ///< of the wildcard; unknown: any
  bool covers(const Mpls::FwdEqvClass& one) const {
    return fec ? *fec == one : family == Netbase::afUnknown_ || family == one.prefix().af();
  }
};

struct LabelMessage {
  enum class Kind { mapping, withdraw, release };
  Kind kind = Kind::mapping;
  std::vector<FecElement> fecs;
  std::optional<Netbase::MplsLabel> label;  ///< none in a withdrawal or release: all labels
};

/// A fatal one ends the session.
struct Notification {
  bool isFatal = false;
};

/// Changes no binding.
struct OtherMessage {};

using Message = std::variant<OtherMessage, Initialization, Keepalive, AddressMessage, LabelMessage,
                             Notification>;

/// Reads {"Label": {...}} and the like; raises Replay::InputError.
Message messageFrom(const Replay::Node& node);

}  // namespace LdpAgent
