#include "agents/forwarding-agent/Forwarder.h"

#include <utility>

#include "agents/common/TableDirectory.h"

namespace ForwardingAgent {

Forwarder::Forwarder(Agents::Program& program, const Options& options)
    : program_(program),
      directory_(program.loop(), Agents::directoryOptions(options, options.tables, options.table),
                 [this](const std::string& text) { handleReport(text); }),
      hwStatus_(Agents::attached(Mpls::lfibHwStatusFactory("forwarding"), directory_)),
      reasons_(Agents::attached(Mpls::lfibHwReasonStatusFactory("forwarding"), directory_)) {
  for (const std::string& path : options.lfibs) {
    lfibs_.push_back(std::make_unique<FollowedLfib>(program_.loop(), program_.log(), path));
    program_.log().info("follows an LFIB", {{"lfib", path}, {"routes", lfibs_.back()->routes()}});
  }
  sm_ = newSm();
  sm_->onInitializedIs([this] { handleInitialized(); });
}

Forma::Ptr<Mpls::LfibForwardingSm> Forwarder::newSm() {
  std::vector<Mpls::LfibForwardingSm::Lfib> inputs;
  for (const auto& one : lfibs_) inputs.push_back(one->machines());
  return Mpls::lfibForwardingSmFactory(
      std::move(inputs), {Mpls::statusFactory("forwarding"), hwStatus_, reasons_}, program_.loop());
}

/// Publishes from then on: readers are to hear of no label that only was not looked at yet.
void Forwarder::handleInitialized() {
  program_.log().info("forwards", {{"routes", sm_->routes()},
                                   {"viaSets", sm_->viaSets()},
                                   {"unprogrammed", hwStatus_->unprogrammedRoutes()}});
  std::vector<Publisher::IpLookups> ipLookups;
  for (const auto& one : lfibs_) ipLookups.push_back({lfibName(one->path()), one->ipLookups()});
  publisher_ = std::make_unique<Publisher>(program_, std::move(ipLookups), *sm_);
}

/// An agent that lost its directory to another is of no use: it ends by what this raises.
void Forwarder::handleReport(const std::string& text) {
  program_.log().warning(text);
  program_.loop().post([table = hwStatus_] { table->unprogrammedRouteTable().mayWrite(); });
}

}  // namespace ForwardingAgent
