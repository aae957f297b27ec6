/// Puts what the machines know into the database, for those who do not map the LFIBs.
///
/// The machines run without the database. What they know is copied when their mounts are there, and
/// followed from then on: readers get the difference to what was published before.
///
/// Thread    that of the program's loop.
/// Outputs   "routing/mpls/lfib/ipLookup/NAME" for each LFIB; "routing/mpls/lfib/labelVias".
#pragma once

#include <memory>
#include <string>
#include <vector>

#include "agents/common/Program.h"
#include "mpls/lfib/LfibCentrumStatus.h"
#include "mpls/lfib/LfibForwardingSm.h"
#include "mpls/lfib/LfibIpLookupStatus.h"

namespace ForwardingAgent {

/// Keeps one entity equal to another.
class IpLookupCopy : Mpls::LfibIpLookupStatus::NotifieeConst {
 public:
  IpLookupCopy(Forma::Ptr<Mpls::LfibIpLookupStatus const> from,
               Forma::Ptr<Mpls::LfibIpLookupStatus> to);

 private:
  void onLabelVrfAf(const Mpls::LfibIpLookupStatusLabelVrfAf& value) override;

  const Forma::Ptr<Mpls::LfibIpLookupStatus> to_;
};

class Publisher {
 public:
  struct IpLookups {
    std::string name;  ///< of the LFIB
    Forma::Ptr<Mpls::LfibIpLookupStatus const> status;
  };
  /// Asks for the mounts. Program and machine, which was initialized, must outlive it; its changes
  /// are heard from now on.
  Publisher(Agents::Program& program, std::vector<IpLookups> lfibs, Mpls::LfibForwardingSm& sm);

 private:
  void handleMounts();
  /// What the label leads to, if that is of a kind that is published.
  void setOutputForLabel(Netbase::MplsLabel label);

  Agents::Program& program_;
  const std::vector<IpLookups> lfibs_;
  Mpls::LfibForwardingSm& sm_;
  std::vector<std::unique_ptr<IpLookupCopy>> copies_;
  Forma::Ptr<Mpls::LfibCentrumStatus> labelVias_;  // null before it is mounted
};

}  // namespace ForwardingAgent
