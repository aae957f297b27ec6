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
  tellRange({{"givenBefore", before.size()}, {"kept", static_cast<std::size_t>(kept)}});
}

void LabelManager::tellRange(Agents::LogFields fields) {
  Agents::Log& log = program_.log();
  if (!sm_->mplsConfig()->mplsRouting())
    return log.info("gives no labels: MPLS routing is off", fields);
  try {
    const Mpls::DynamicRange range(sm_->configRange());
    fields.insert(fields.begin(), {{"base", range.base()}, {"blocks", range.blocks()}});
    log.info("gives labels", fields);
  } catch (const Forma::Exception& problem) {
    log.warning(std::string("gives no labels, the range cannot be read: ") + problem.what(),
                fields);
  }
}

}  // namespace MplsAgent
