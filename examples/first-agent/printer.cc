// Prints the merged routes of the switch, and each change of them, until SIGINT or SIGTERM.
#include "Agent.h"
#include "mpls/entities/RouteConfig.h"

// Told of each key whose merged route comes, goes or changes; reads what is there now.
class Printer : public Mpls::RouteConfig::NotifieeConst {
 public:
  void onRoute(const Mpls::RouteKey& key) override {
    const Forma::Ptr<Mpls::Route const> route = notifier()->route(key);
    std::printf("label %u:", key.topLabel().value());
    if (!route) std::printf(" no route");
    else
      for (const auto& via : route->viaIteratorConst())
        std::printf(" via %s", Forma::valueToStrep(via.key.nextHop()).charPtr());
    std::printf("\n");
  }
};

int main() {
  Agent agent("printer");
  Printer printer;
  const auto follow = [&](const Forma::Ptr<Mpls::RouteConfig>& merged) {
    printer.notifierIs(merged);
    for (const auto& route : merged->routeIteratorConst()) printer.onRoute(route.key);
  };
  agent.mount<Mpls::RouteConfig>("routing/mpls/route/config", "r", follow);
  agent.loop().run();
}
