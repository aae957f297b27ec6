/// Follows the LFIBs of the options and keeps what their labels lead to.
///
/// Thread    that of the program's loop.
/// Inputs    the tables of each LFIB.
/// Outputs   the tables of unprogrammed routes in a directory of its own; what Publisher publishes;
///           Mpls::Status, in this process alone: a million routes would cost the database more
///           than anybody has asked for.
/// Restart   built from the LFIBs; of what outlives the process only differences are written.
#pragma once

#include <memory>
#include <string>
#include <vector>

#include "agents/forwarding-agent/FollowedLfib.h"
#include "agents/forwarding-agent/Options.h"
#include "agents/forwarding-agent/Publisher.h"
#include "platform/tarn/WriterDirectory.h"

namespace ForwardingAgent {

class Forwarder {
 public:
  /// Takes the directory of its tables and begins; the program must outlive it. Raises
  /// std::system_error when the directory or its tables cannot be used.
  Forwarder(Agents::Program& program, const Options& options);

 private:
  void handleInitialized();
  void handleReport(const std::string& text);
  Forma::Ptr<Mpls::LfibForwardingSm> newSm();

  Agents::Program& program_;
  Tarn::WriterDirectory directory_;
  const Forma::Ptr<Mpls::LfibHwStatus> hwStatus_;
  const Forma::Ptr<Mpls::LfibHwReasonStatus> reasons_;
  std::vector<std::unique_ptr<FollowedLfib>> lfibs_;
  Forma::Ptr<Mpls::LfibForwardingSm> sm_;
  std::unique_ptr<Publisher> publisher_;
};

}  // namespace ForwardingAgent
