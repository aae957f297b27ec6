#include "agents/mpls-agent/LabelManager.h"

#include <algorithm>
#include <vector>

#include "agents/common/Paths.h"

namespace MplsAgent {

namespace {

struct Given {
  Forma::Name client;
  Forma::Name id;
  Mpls::LabelBlock block;
};

std::vector<Given> allGiven(const Mpls::Api::Status& status) {
  std::vector<Given> all;
  for (const auto& one : status.labelBlockAllocationIteratorConst())
    for (const auto& held : one.value->blockIteratorConst())
      all.push_back({one.key, held.key, held.value});
  return all;
}

bool isGiven(const Mpls::Api::Status& status, const Given& one) {
  const Mpls::LabelBlockAllocation* const alloc = status.labelBlockAllocationFind(one.client);
  return alloc != nullptr && alloc->block(one.id) == one.block;
}

}  // namespace

LabelManager::LabelManager(Agents::Program& program) : program_(program) {
  program_.mount({{Agents::labelRequestDir, Forma::Dir::formaTypeName, "w"},
                  {Agents::configPath, Mpls::Config::formaTypeName, "r"},
                  {Agents::apiStatusPath, Mpls::Api::Status::formaTypeName, "w"},
                  {Agents::labelWaitPath, Mpls::WaitingLabelRequests::formaTypeName, "w"}},
                 [this] { handleMounts(); });
}

void LabelManager::handleMounts() {
  const auto status = program_.entity<Mpls::Api::Status>(Agents::apiStatusPath);
  const std::vector<Given> before = allGiven(*status);
  program_.survivesInputBelow(Agents::labelRequestDir);
  const auto requests = program_.entity<Forma::Dir>(Agents::labelRequestDir);
  sm_ = Mpls::labelManagerSmFactory(program_.loop().timers(), program_.manager(), requests,
                                    program_.entity<Mpls::Config>(Agents::configPath), status);
  waits_ =
      Mpls::labelWaitSmFactory(sm_->client(), requests, status,
                               program_.entity<Mpls::WaitingLabelRequests>(Agents::labelWaitPath));
  const auto kept = std::count_if(before.begin(), before.end(),
                                  [&](const Given& one) { return isGiven(*status, one); });
  program_.log().say(rangeText() + "; " + std::to_string(kept) + " of " +
                     std::to_string(before.size()) + " blocks given before stay");
}

std::string LabelManager::rangeText() const {
  if (!sm_->mplsConfig()->mplsRouting()) return "gives no labels, MPLS routing is off";
  try {
    const Mpls::DynamicRange range(sm_->configRange());
    return "gives labels from " + std::to_string(range.base()) + ", in " +
           std::to_string(range.blocks()) + " blocks";
  } catch (const Forma::Exception& problem) {
    return "gives no labels, the label range cannot be read: " + std::string(problem.what());
  }
}

}  // namespace MplsAgent
