/// One LFIB of another process, and the machines that follow it.
///
/// Thread    that of the loop.
/// Inputs    the tables of a directory, there or not, their writer alive or not.
/// Restart   built from the tables.
#pragma once

#include <string>

#include "agents/common/Log.h"
#include "mpls/lfib/LfibForwardingSm.h"
#include "mpls/lfib/LfibIpLookupSm.h"
#include "mpls/lfib/LfibStatusSm.h"
#include "mpls/lfib/LfibTrackingSm.h"
#include "platform/tarn/ReaderDirectory.h"

namespace ForwardingAgent {

class FollowedLfib {
 public:
  /// Reads what is there. Loop and log must outlive it.
  FollowedLfib(Kiln::EventLoop& loop, Agents::Log& log, const std::string& path);

  const std::string& path() const { return directory_.path(); }
  const Forma::Ptr<Mpls::LfibIpLookupStatus>& ipLookups() const { return ipLookups_; }
  /// What the forwarding machine needs of it.
  Mpls::LfibForwardingSm::Lfib machines() const { return {lfib_, backlog_, tracking_}; }
  /// Rows of routes.
  std::size_t routes() const;

 private:
  void handleWriter();

  Agents::Log& log_;
  Tarn::ReaderDirectory directory_;
  const Forma::Ptr<Mpls::LfibStatus> lfib_;
  const Forma::Ptr<Mpls::LfibTrackingStatus> backlog_;
  const Forma::Ptr<Mpls::LfibIpLookupStatus> ipLookups_;
  const Forma::Ptr<Mpls::LfibStatusConsumerSm> consumer_;
  const Forma::Ptr<Mpls::LfibTrackingSm> tracking_;
  const Forma::Ptr<Mpls::LfibIpLookupSm> ipLookup_;
};

}  // namespace ForwardingAgent
