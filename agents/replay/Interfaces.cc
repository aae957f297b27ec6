#include "agents/replay/Interfaces.h"

#include <algorithm>

namespace Replay {

namespace {

Netbase::IntfId nameOf(const Node& node) {
  try {
    return Netbase::IntfId(node.text());
  } catch (const Forma::Exception&) {
    node.refuse("an interface name of at most 15 bytes");
  }
}

}  // namespace

std::optional<Node> ibusOf(const Node& event) {
  const std::string kind = event.kind();
  if (kind == "Ibus") return event.member(kind);
  return kind == "Protocol" ? std::nullopt : std::optional(event);
}

bool Interfaces::take(const Node& ibus) {
  if (!ibus.isObject()) return false;
  if (const auto gone = ibus.find("InterfaceDel")) {
    const Netbase::IntfId name = nameOf(gone->isObject() ? gone->member("ifname") : *gone);
    return std::erase_if(names_, [&](const auto& one) { return one.second == name; }) != 0;
  }
  const auto update = ibus.find("InterfaceUpd");
  if (!update) return false;
  const std::uint32_t index = update->member("ifindex").number("a number of 32 bits", UINT32_MAX);
  const Netbase::IntfId name = nameOf(update->member("ifname"));
  return std::exchange(names_[index], name) != name;
}

Netbase::IntfId Interfaces::name(std::uint32_t index) const {
  const auto found = names_.find(index);
  return found == names_.end() ? Netbase::IntfId() : found->second;
}

}  // namespace Replay
