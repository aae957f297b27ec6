/// On which interfaces LDP is ready: those that are up and lead to a peer whose session is
/// operational.
///
/// Thread    one.
/// Outputs   the default VRF of an Ldp::LdpLinkReadyStatusVrfColl, once there is one: an entry for
///           each interface that LDP runs on.
#pragma once

#include <map>
#include <set>

#include "ldp/LdpIdentifier.h"
#include "ldp/LdpLinkReadyStatus.h"
#include "platform/netbase/IpGenPrefix.h"

namespace LdpAgent {

class LinkReadiness {
 public:
  /// LDP runs on the interface.
  void interfaceIs(const Netbase::IntfId& intf) { links_[intf]; }
  void operativeIs(const Netbase::IntfId& intf, bool isOperative);
  /// The interface has an address in that network, or not.
  void networkIs(const Netbase::IntfId& intf, const Netbase::IpGenPrefix& network, bool isThere);
  /// A peer said hello from an address: it is behind the interface with that network.
  void helloFrom(const Netbase::IpGenAddr& address, const Ldp::LdpIdentifier& peer);
  void adjacencyIs(const Netbase::IntfId& intf, const Ldp::LdpIdentifier& peer);
  /// Whether the session with the peer is operational.
  void peerIs(const Ldp::LdpIdentifier& peer, bool isOperational);
  void clear();

  bool isReady(const Netbase::IntfId& intf) const;
  std::size_t readyLinks() const;
  std::size_t links() const { return links_.size(); }

  /// Writes what differs there.
  void writeTo(Ldp::LdpLinkReadyStatusVrfColl& output) const;

 private:
  struct Link {
    bool isOperative = true;
    std::set<Netbase::IpGenPrefix> networks;
    std::set<Ldp::LdpIdentifier> peers;
  };
  Link* find(const Netbase::IntfId& intf);
  bool isReady(const Link& link) const;

  std::map<Netbase::IntfId, Link> links_;
  std::set<Ldp::LdpIdentifier> operational_;
};

}  // namespace LdpAgent
