/// What an LDP router holds: bindings, links, and the labels that it has installed.
///
/// Thread    that of the LFIB.
#pragma once

#include <utility>

#include "agents/ldp-agent/Bindings.h"
#include "agents/ldp-agent/LinkReadiness.h"
#include "agents/replay/LabelInstalls.h"

namespace LdpAgent {

struct RouterState {
  /// Routes are written to `lfib` when somebody asks `installs` for that.
  RouterState(const LdpIdentifier& router, Forma::Ptr<Mpls::LfibStatus> lfib)
      : bindings(router), installs(std::move(lfib), Mpls::LFib::lfibSourceLdp_, interfaces) {}
  RouterState(const RouterState&) = delete;
  RouterState& operator=(const RouterState&) = delete;

  /// The session is operational.
  void peerIs(const LdpIdentifier& peer) { links.peerIs(peer, true); }
  /// The session is over: all that came of it goes, next hops first.
  void peerDel(const LdpIdentifier& peer) {
    for (const auto& address : bindings.addressesOf(peer)) installs.nextHopDel(address);
    bindings.peerDel(peer);
    links.peerIs(peer, false);
  }

  Bindings bindings;
  LinkReadiness links;
  Replay::Interfaces interfaces;
  Replay::LabelInstalls installs;
};

}  // namespace LdpAgent
