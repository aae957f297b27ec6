#include "agents/ldp-agent/Message.h"

#include <algorithm>
#include <array>
#include <string>

namespace LdpAgent {

namespace {

using Replay::Node;

Netbase::AddressFamily familyFrom(const Node& node) {
  const std::string& name = node.text();
  if (name == "Ipv4") return Netbase::ipv4_;
  if (name == "Ipv6") return Netbase::ipv6_;
  node.refuse("Ipv4 or Ipv6");
}

/// "All", or {"Typed": {"Prefix": FAMILY}}.
FecElement wildcardFrom(const Node& node) {
  if (node.isObject()) return {std::nullopt, familyFrom(node.member("Typed").member("Prefix"))};
  if (node.text() != "All") node.refuse("\"All\" or a typed wildcard");
  return {};
}

FecElement fecFrom(const Node& node) {
  if (const auto wildcard = node.find("Wildcard")) return wildcardFrom(*wildcard);
  return {Mpls::FwdEqvClass(node.member("Prefix").prefix()), Netbase::afUnknown_};
}

Message addressesFrom(const Node& node) {
  AddressMessage message;
  const Node type = node.member("msg_type");
  message.isWithdrawn = type.text() == "AddressWithdraw";
  if (!message.isWithdrawn && type.text() != "Address") type.refuse("Address or AddressWithdraw");
  node.member("addr_list").eachMember([&](const std::string& /*family*/, const Node& list) {
    list.eachItem([&](const Node& one) { message.addresses.push_back(one.address()); });
  });
  return message;
}

/// None for a request, or the end of one: bindings that are sent unasked need none.
std::optional<LabelMessage::Kind> kindFrom(const Node& node) {
  const std::string& type = node.text();
  if (type == "LabelMapping") return LabelMessage::Kind::mapping;
  if (type == "LabelWithdraw") return LabelMessage::Kind::withdraw;
  if (type == "LabelRelease") return LabelMessage::Kind::release;
  if (type == "LabelRequest" || type == "LabelAbortReq") return std::nullopt;
  node.refuse("the type of a label message");
}

Message labelsFrom(const Node& node) {
  const auto kind = kindFrom(node.member("msg_type"));
  if (!kind) return OtherMessage();
  LabelMessage message;
  message.kind = *kind;
  const Node fecs = node.member("fec");
  fecs.eachItem([&](const Node& one) { message.fecs.push_back(fecFrom(one)); });
  if (const auto label = node.find("label")) message.label = label->label();
  if (message.kind != LabelMessage::Kind::mapping) return message;
  if (!message.label) node.refuse("a label");
  for (const FecElement& one : message.fecs)
    if (!one.fec) fecs.refuse("prefixes to be bound");
  return message;
}

/// Whether the status ends the session: it says so by its highest bit, or its code does (RFC 5036,
/// section 3.9; some write the code without the bit).
bool isFatal(std::uint32_t status) {
  static constexpr std::array<std::uint32_t, 14> fatal{0x01, 0x02, 0x03, 0x05, 0x07, 0x08, 0x09,
                                                       0x0a, 0x10, 0x11, 0x12, 0x13, 0x14, 0x19};
  return (status >> 31) != 0 || std::ranges::find(fatal, status & 0x3fffffff) != fatal.end();
}

Message notificationFrom(const Node& node) {
  const Node code = node.member("status").member("status_code");
  return Notification{isFatal(code.number("a status code", UINT32_MAX))};
}

}  // namespace

Message messageFrom(const Node& node) {
  const std::string kind = node.kind();
  if (kind == "Initialization") return Initialization();
  if (kind == "Keepalive") return Keepalive();
  if (kind == "Address") return addressesFrom(node.member(kind));
  if (kind == "Label") return labelsFrom(node.member(kind));
  if (kind == "Notification") return notificationFrom(node.member(kind));
  return OtherMessage();
}

}  // namespace LdpAgent
