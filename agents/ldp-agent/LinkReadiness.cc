#include "agents/ldp-agent/LinkReadiness.h"

#include <algorithm>

namespace LdpAgent {

using Ldp::LdpIdentifier;
using Netbase::IntfId;

LinkReadiness::Link* LinkReadiness::find(const IntfId& intf) {
  const auto found = links_.find(intf);
  return found == links_.end() ? nullptr : &found->second;
}

void LinkReadiness::operativeIs(const IntfId& intf, bool isOperative) {
  if (Link* const link = find(intf)) link->isOperative = isOperative;
}

void LinkReadiness::networkIs(const IntfId& intf, const Netbase::IpGenPrefix& network,
                              bool isThere) {
  Link* const link = find(intf);
  if (link == nullptr) return;
  if (isThere) link->networks.insert(network);
  else link->networks.erase(network);
}

void LinkReadiness::helloFrom(const Netbase::IpGenAddr& address, const LdpIdentifier& peer) {
  for (auto& [intf, link] : links_)
    if (std::ranges::any_of(link.networks, [&](const auto& one) { return one.contains(address); }))
      link.peers.insert(peer);
}

void LinkReadiness::adjacencyIs(const IntfId& intf, const LdpIdentifier& peer) {
  links_[intf].peers.insert(peer);
}

void LinkReadiness::peerIs(const LdpIdentifier& peer, bool isOperational) {
  if (isOperational) operational_.insert(peer);
  else operational_.erase(peer);
}

void LinkReadiness::clear() {
  links_.clear();
  operational_.clear();
}

bool LinkReadiness::isReady(const IntfId& intf) const {
  const auto found = links_.find(intf);
  return found != links_.end() && isReady(found->second);
}

bool LinkReadiness::isReady(const Link& link) const {
  return link.isOperative && std::ranges::any_of(link.peers, [this](const LdpIdentifier& peer) {
           return operational_.contains(peer);
         });
}

std::size_t LinkReadiness::readyLinks() const {
  return static_cast<std::size_t>(
      std::ranges::count_if(links_, [this](const auto& one) { return isReady(one.second); }));
}

void LinkReadiness::writeTo(Ldp::LdpLinkReadyStatusVrfColl& output) const {
  const auto vrf = output.readyStatusVrfIs(L3::VrfName());
  for (const auto& one : vrf->readyStatusIteratorConst())
    if (!links_.contains(one.key)) vrf->readyStatusDel(one.key);
  for (const auto& [intf, link] : links_) vrf->readyStatusIs(intf)->readyIs(isReady(link));
}

}  // namespace LdpAgent
