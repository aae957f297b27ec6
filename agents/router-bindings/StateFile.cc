#include "agents/router-bindings/StateFile.h"

#include "agents/replay/LineReader.h"
#include "agents/router-bindings/BindingFile.h"

namespace RouterBindings {

namespace {

using Replay::Node;

constexpr std::string_view root = "ietf-routing:routing";

/// A number, or the name of a reserved label.
Label labelFrom(const Node& node) {
  if (!node.isText()) return node.label();
  const std::string& text = node.text();
  const std::string name = text.substr(text.find(':') + 1);
  if (name == "ipv4-explicit-null-label") return Label(0);
  if (name == "ipv6-explicit-null-label") return Label(2);
  if (name == "implicit-null-label") return Label(3);
  node.refuse("a label, or the name of a reserved one");
}

LdpIdentifier peerFrom(const Node& node) {
  const Node id = node.member("lsr-id");
  const Netbase::IpGenAddr address = id.address();
  if (address.isV6()) id.refuse("an identifier such as 10.0.0.1");
  const std::uint32_t space = node.member("label-space-id").number("a label space", UINT16_MAX);
  return {address.v4().value(), static_cast<std::uint16_t>(space)};
}

bool isReceived(const Node& node) {
  const Node type = node.member("advertisement-type");
  if (type.text() != "advertised" && type.text() != "received")
    type.refuse("advertised or received");
  return type.text() == "received";
}

void takeAddress(const Node& node, Snapshot& state) {
  if (isReceived(node))
    state.addresses[node.member("address").address()] = peerFrom(node.member("peer"));
}

void takeFec(const Node& node, Snapshot& state) {
  const Fec fec(node.member("fec").prefix());
  node.member("peer").eachItem([&](const Node& one) {
    const LdpIdentifier peer = peerFrom(one);
    const Label label = labelFrom(one.member("label"));
    if (isReceived(one)) {
      state.peers[peer][fec].insert(label);
    } else {
      state.local[fec].insert(label);
      state.advertised[fec].insert(peer);
    }
  });
}

void takeFamily(const Node& family, Snapshot& state) {
  const auto bindings = family.find("bindings");
  if (!bindings) return;
  if (const auto list = bindings->find("address"))
    list->eachItem([&](const Node& one) { takeAddress(one, state); });
  if (const auto list = bindings->find("fec-label"))
    list->eachItem([&](const Node& one) { takeFec(one, state); });
}

}  // namespace

Snapshot stateFrom(const Node& document) {
  Snapshot state;
  const Node protocols =
      document.member(root).member("control-plane-protocols").member("control-plane-protocol");
  protocols.eachItem([&](const Node& protocol) {
    const auto ldp = protocol.find("ietf-mpls-ldp:mpls-ldp");
    const auto families = ldp ? ldp->findBelow("global/address-families") : std::nullopt;
    if (families)
      families->eachMember(
          [&](const std::string& /*name*/, const Node& family) { takeFamily(family, state); });
  });
  return state;
}

Snapshot snapshotFromFile(const std::string& path) {
  const Replay::Document document = Replay::documentOf(path);
  return document.node().find(root) ? stateFrom(document.node())
                                    : bindingFileFrom(document.node()).snapshot;
}

}  // namespace RouterBindings
