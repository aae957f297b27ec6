#include "agents/forwarding-agent/Forwarder.h"

#include <utility>

namespace ForwardingAgent {

Forwarder::Forwarder(Agents::Program& program, const Options& options)
    : program_(program),
      directory_(program.loop(),
                 {options.table, options.tables.owner, options.tables.group, options.tables.mode,
                  options.name},
                 [this](const std::string& text) { handleReport(text); }),
      hwStatus_(Mpls::lfibHwStatusFactory("forwarding")),
      reasons_(Mpls::lfibHwReasonStatusFactory("forwarding")) {
  FormaTarn::attachWriter(*hwStatus_, directory_);
  FormaTarn::attachWriter(*reasons_, directory_);
  for (const std::string& path : options.lfibs) {
    lfibs_.push_back(std::make_unique<FollowedLfib>(program_.loop(), program_.log(), path));
    program_.log().say("follows " + path + ", which holds " +
                       std::to_string(lfibs_.back()->routes()) + " routes");
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
  program_.log().say("forwards " + std::to_string(sm_->routes()) + " routes over " +
                     std::to_string(sm_->viaSets()) + " via sets; " +
                     std::to_string(hwStatus_->unprogrammedRoutes()) + " are not programmed");
  std::vector<Publisher::IpLookups> ipLookups;
  for (const auto& one : lfibs_) ipLookups.push_back({lfibName(one->path()), one->ipLookups()});
  publisher_ = std::make_unique<Publisher>(program_, std::move(ipLookups), *sm_);
}

/// An agent that lost its directory to another is of no use: it ends by what this raises.
void Forwarder::handleReport(const std::string& text) {
  program_.log().say(text);
  program_.loop().post([table = hwStatus_] { table->unprogrammedRouteTable().mayWrite(); });
}

}  // namespace ForwardingAgent
