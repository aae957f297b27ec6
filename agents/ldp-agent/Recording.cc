#include "agents/ldp-agent/Recording.h"

#include "agents/replay/LineReader.h"

namespace LdpAgent {

namespace {

using Replay::Node;

constexpr std::string_view protocolsPath =
    "ietf-routing:routing/control-plane-protocols/control-plane-protocol";

NeighborId neighborFrom(const Node& node) {
  return node.member("nbr_id").number("a number of 32 bits", UINT32_MAX);
}

/// Identifiers are addresses of four bytes.
std::uint32_t lsrIdFrom(const Node& node) {
  const Netbase::IpGenAddr address = node.address();
  if (address.isV6()) node.refuse("an identifier such as 10.0.0.1");
  return address.v4().value();
}

Ldp::LdpIdentifier peerFrom(const Node& pdu) {
  return {lsrIdFrom(pdu.member("lsr_id")),
          static_cast<std::uint16_t>(pdu.member("lspace_id").number("a label space", UINT16_MAX))};
}

Netbase::IntfId intfFrom(const Node& node) {
  try {
    return Netbase::IntfId(node.text());
  } catch (const Forma::Exception&) {
    node.refuse("an interface name of at most 15 bytes");
  }
}

// ---- Packets -----------------------------------------------------------------------------------

/// A packet that could not be received ends the session.
void addReceived(const Node& node, std::deque<Event>& events) {
  const NeighborId neighbor = neighborFrom(node);
  const auto pdu = node.member("pdu").find("Ok");
  if (!pdu) return events.emplace_back(SessionEnd{neighbor}), void();
  const Ldp::LdpIdentifier peer = peerFrom(*pdu);
  pdu->member("messages").eachItem([&](const Node& message) {
    events.emplace_back(Received{neighbor, peer, messageFrom(message)});
  });
}

void addHello(const Node& node, std::deque<Event>& events) {
  if (const auto pdu = node.member("pdu").find("Ok"))
    events.emplace_back(Hello{node.member("src_addr").address(), peerFrom(*pdu)});
}

void addProtocolEvent(const Node& node, std::deque<Event>& events) {
  const std::string kind = node.kind();
  if (kind == "NbrRxPdu") addReceived(node.member(kind), events);
  else if (kind == "UdpRxPdu") addHello(node.member(kind), events);
  else if (kind == "NbrKaTimeout") events.emplace_back(SessionEnd{neighborFrom(node.member(kind))});
}

// ---- The router's own bus ----------------------------------------------------------------------

void addInterface(const Node& node, std::deque<Event>& events) {
  const std::string& flags = node.member("flags").text();
  const bool isOperative = flags.find("OPERATIVE") != std::string::npos;
  events.emplace_back(InterfaceState{intfFrom(node.member("ifname")), isOperative});
}

void addAddress(const Node& node, bool isThere, std::deque<Event>& events) {
  events.emplace_back(
      InterfaceNetwork{intfFrom(node.member("ifname")), node.member("addr").prefix(), isThere});
}

void addBusEvent(const Node& node, std::deque<Event>& events) {
  const std::string kind = node.kind();
  if (kind == "InterfaceUpd") addInterface(node.member(kind), events);
  else if (kind == "InterfaceAddressAdd") addAddress(node.member(kind), true, events);
  else if (kind == "InterfaceAddressDel") addAddress(node.member(kind), false, events);
  else if (auto change = Replay::labelChangeFrom(node); change && change->protocol == "ldp")
    events.emplace_back(*std::move(change));
}

/// Calls `take` for each line behind the first `lines`, and counts them.
template <class Take>
void eachNewLine(const std::string& path, std::size_t& lines, Take take) {
  Replay::LineReader reader(path);
  Replay::Document document;
  while (reader.next(&document)) {
    if (reader.line() <= lines) continue;
    take(document.node());
    lines = reader.line();
  }
}

}  // namespace

std::deque<Event> eventsFrom(const Node& line) {
  std::deque<Event> events;
  const std::string kind = line.kind();
  if (kind == "Protocol") addProtocolEvent(line.member(kind), events);
  if (kind == "Ibus") addBusEvent(line.member(kind), events);
  return events;
}

std::optional<Sent> sentFrom(const Node& line) {
  if (line.kind() != "NbrTxPdu") return std::nullopt;
  const Node packet = line.member("NbrTxPdu");
  return Sent{neighborFrom(packet), messageFrom(packet.member("msg"))};
}

Recording::Recording(std::string folder) : folder_(std::move(folder)) { readConfig(); }

void Recording::readConfig() {
  const Replay::Document document = Replay::documentOf(folder_ + "/config.json");
  std::optional<Node> ldp;
  const auto protocols = document.node().findBelow(protocolsPath);
  if (protocols)
    protocols->eachItem([&](const Node& one) {
      if (!ldp) ldp = one.find("ietf-mpls-ldp:mpls-ldp");
    });
  if (!ldp) document.node().refuse("the configuration of LDP (ietf-mpls-ldp:mpls-ldp)");
  router_ = Ldp::LdpIdentifier(lsrIdFrom(ldp->member("global").member("lsr-id")));
  if (const auto list = ldp->findBelow("discovery/interfaces/interface"))
    list->eachItem([this](const Node& one) { interfaces_.insert(intfFrom(one.member("name"))); });
}

void Recording::readMore(Replay::Interfaces& names) {
  eachNewLine(eventsPath(), eventLines_, [&](const Node& line) {
    for (Event& event : eventsFrom(line)) events.push_back(std::move(event));
    if (line.kind() == "Ibus") names.take(line.member("Ibus"));
  });
  eachNewLine(sentPath(), sentLines_, [&](const Node& line) {
    if (auto one = sentFrom(line)) sent.push_back(*std::move(one));
  });
}

}  // namespace LdpAgent
