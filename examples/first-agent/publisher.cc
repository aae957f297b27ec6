// publisher NAME [LABEL GATEWAY OUT]...: publishes these routes, and no others, as the dynamic
// input NAME, and ends when the database has them.
#include "Agent.h"

#include <map>

#include "mpls/entities/RouteConfig.h"
#include "mpls/types/Constants.h"

using Routes = std::map<Mpls::RouteKey, Mpls::Via>;

// Writes the difference: what is published already and stays is not touched.
void publish(Mpls::RouteConfigInput& input, const Routes& wanted) {
  for (const auto& there : input.routeIteratorConst())
    if (!wanted.contains(there.key)) input.routeDel(there.key);
  for (const auto& [key, via] : wanted) {
    const auto route = input.newRoute(key);  // gets it, or creates it
    route->viaIs(via, true);
    for (const auto& there : route->viaIteratorConst())
      if (there.key != via) route->viaDel(there.key);
  }
}

Routes routesOf(int argc, char** argv) {
  Routes routes;
  for (int i = 2; i + 2 < argc; i += 3) {
    const auto label = static_cast<std::uint32_t>(std::atoi(argv[i]));
    const auto out = static_cast<std::uint32_t>(std::atoi(argv[i + 2]));
    const Netbase::IpGenAddr gateway{Forma::String8(argv[i + 1])};
    routes.emplace(Mpls::RouteKey(label, Mpls::Constants::metricDefault),
                   Mpls::Via(gateway, Netbase::swap_, out, false));
  }
  return routes;
}

int main(int argc, char** argv) {
  if (argc < 2 || argc % 3 != 2) {
    std::fprintf(stderr, "usage: publisher NAME [LABEL GATEWAY OUT]...\n");
    return 2;
  }
  const Routes wanted = routesOf(argc, argv);
  const std::string path = std::string("routing/mpls/route/input/dynamic/") + argv[1];
  Agent agent("publisher");
  bool published = false;
  const auto start = [&](const Forma::Ptr<Mpls::RouteConfigInput>& input) {
    publish(*input, wanted);
    published = true;
  };
  agent.mount<Mpls::RouteConfigInput>(path, "w", start);
  agent.loop().runUntil([&] { return published && agent.allSent(); }, 60);
  return published ? 0 : 3;
}
