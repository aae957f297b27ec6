/// The folder of a recorded LDP router:
///
///   config.json              its LSR identifier, and the interfaces that LDP runs on
///   events.jsonl             what it received, in order: messages, interfaces, installed labels
///   output/protocol.jsonl    the messages that it sent, in order
///
/// Both lists may grow while they are followed. Other files are not read, nor is what else a line
/// holds.
///
/// Thread    one.
/// Errors    Replay::InputError, "FILE:LINE: /MEMBER: expected a label, found -1".
#pragma once

#include <cstddef>
#include <deque>
#include <set>
#include <string>
#include <variant>

#include "agents/ldp-agent/Message.h"
#include "agents/replay/Interfaces.h"
#include "agents/replay/LabelChange.h"
#include "ldp/LdpIdentifier.h"
#include "platform/netbase/IntfId.h"

namespace LdpAgent {

/// How the recording numbers the neighbours.
using NeighborId = std::uint32_t;

struct Received {
  NeighborId neighbor = 0;
  Ldp::LdpIdentifier peer;
  Message message;
};
struct Sent {
  NeighborId neighbor = 0;
  Message message;
};
/// A session went: its time ran out, or the connection broke.
struct SessionEnd {
  NeighborId neighbor = 0;
};
struct Hello {
  Netbase::IpGenAddr source;
  Ldp::LdpIdentifier peer;
};
struct InterfaceState {
  Netbase::IntfId intf;
  bool isOperative = false;
};
struct InterfaceNetwork {
  Netbase::IntfId intf;
  Netbase::IpGenPrefix network;
  bool isThere = false;
};
using Event = std::variant<Received, SessionEnd, Hello, InterfaceState, InterfaceNetwork,
                           Replay::LabelChange>;

/// The events of a line: one for each message of a packet, none for what does not matter here.
std::deque<Event> eventsFrom(const Replay::Node& line);
/// The message of a line of sent ones; none for other lines.
std::optional<Sent> sentFrom(const Replay::Node& line);

class Recording {
 public:
  explicit Recording(std::string folder);

  const Ldp::LdpIdentifier& router() const { return router_; }
  const std::set<Netbase::IntfId>& interfaces() const { return interfaces_; }
  std::string eventsPath() const { return folder_ + "/events.jsonl"; }
  std::string sentPath() const { return folder_ + "/output/protocol.jsonl"; }

  /// What nobody took yet.
  std::deque<Event> events;
  std::deque<Sent> sent;
  /// Reads the lines that came since the last time, and the names of interfaces in them. Keeps the
  /// lines before one that is wrong, and raises at that one again the next time.
  void readMore(Replay::Interfaces& names);

 private:
  void readConfig();

  const std::string folder_;
  Ldp::LdpIdentifier router_;
  std::set<Netbase::IntfId> interfaces_;
  std::size_t eventLines_ = 0;  // that were read
  std::size_t sentLines_ = 0;
};

}  // namespace LdpAgent
