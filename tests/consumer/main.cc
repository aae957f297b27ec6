// An agent in miniature: two sources of static MPLS routes, merged, and a reader of the result.
#include <cstdio>
#include <string>

#include "mpls/entities/Registration.h"
#include "mpls/routeconfig/RouteConfigMergeSm.h"
#include "mpls/types/Constants.h"
#include "mpls/types/LabelRange.h"
#include "platform/centrum/LocalEntityManager.h"

using Forma::Ptr;

// Told of each key whose merged route comes, goes or changes; reads what is there now.
struct Printer : Mpls::RouteConfig::NotifieeConst {
  void onRoute(const Mpls::RouteKey& key) override {
    const Ptr<Mpls::Route const> route = notifier()->route(key);
    std::printf("label %u: %s\n", key.topLabel().value(), route ? "merged" : "absent");
    if (!route) return;
    for (const auto& via : route->viaIteratorConst())
      std::printf("  via %s\n", Forma::valueToStrep(via.key.nextHop()).charPtr());
  }
};

int main() {
  Forma::TypeRegistry types;
  Mpls::registerEntityTypes(types);
  Kiln::EventLoop loop;
  const auto em = Centrum::localEntityManagerFactory(loop, types);
  const auto inputs = "routing/mpls/route/input/dynamic";
  const auto dir = Forma::ptrCast<Forma::Dir>(em->newEntity(inputs, "Forma::Dir"));
  const auto operators = Mpls::routeConfigInputFactory("static");
  const auto bgp = Mpls::routeConfigInputFactory("bgp");
  dir->entryIs(bgp);

  const auto merged = Mpls::routeConfigFactory("config");
  Printer printer;
  printer.notifierIs(merged);
  const auto sm = Mpls::routeConfigMergeSmFactory(merged, dir, operators, em);
  loop.runUntil([&] { return merged->ready(); }, 10.0);

  const Mpls::RouteKey key(100, Mpls::Constants::metricDefault);
  const Netbase::IpGenAddr gateway(Forma::String8("10.0.0.1"));
  operators->newRoute(key)->viaIs(Mpls::Via(gateway, Netbase::swap_, 200, false), true);
  bgp->newRoute(key);  // a second claim withdraws the route
  bgp->routeDel(key);  // and it is back
  try {
    Mpls::LabelRange(1048575, 2);
  } catch (const Forma::RangeException& e) {
    std::printf("%s\n", e.what());
  }
  return merged->routes() == 1 ? 0 : 1;
}
