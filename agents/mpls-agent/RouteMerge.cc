#include "agents/mpls-agent/RouteMerge.h"

#include "agents/common/Paths.h"

namespace MplsAgent {

RouteMerge::RouteMerge(Agents::Program& program) : program_(program), readyReactor_(*this) {
  program_.mount({{Agents::staticInputPath, Mpls::RouteConfigInput::formaTypeName, "r"},
                  {Agents::dynamicInputDir, Forma::Dir::formaTypeName, "w"},
                  {Agents::mergedPath, Mpls::RouteConfig::formaTypeName, "x"}},
                 [this] { handleMounts(); });
}

void RouteMerge::handleMounts() {
  const auto merged = program_.entity<Mpls::RouteConfig>(Agents::mergedPath);
  readyReactor_.notifierIs(merged);
  sm_ = Mpls::routeConfigMergeSmFactory(
      merged, program_.entity<Forma::Dir>(Agents::dynamicInputDir),
      program_.entity<Mpls::RouteConfigInput>(Agents::staticInputPath), program_.manager());
  handleReady();
}

/// Ready may come while the machine is being made.
void RouteMerge::handleReady() {
  if (!sm_ || !sm_->routeConfig()->ready()) return;
  readyReactor_.notifierIs(nullptr);
  program_.manager()->commit(Forma::String8(Agents::mergedPath));
  std::size_t conflicts = 0;
  sm_->sourceSets().forEach([&](const Mpls::RouteKey&, const Mpls::SourceSet& sources) {
    if (sources.sources() > 1) ++conflicts;
  });
  program_.log().info("merged static routes",
                      {{"routes", sm_->routeConfig()->routes()}, {"conflicts", conflicts}});
}

}  // namespace MplsAgent
