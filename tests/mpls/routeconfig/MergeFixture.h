/// A merge machine with its inputs in a database of the test's own.
#pragma once

#include <gtest/gtest.h>

#include <map>

#include "mpls/entities/Registration.h"
#include "mpls/routeconfig/RouteConfigMergeSm.h"
#include "mpls/routeconfig/RouteConfigMounter.h"
#include "platform/centrum/LocalEntityManager.h"

namespace Mpls {

inline RouteKey key(std::uint32_t label, std::uint8_t metric = 0) { return {label, metric}; }

inline Via via(std::uint32_t outLabel) {
  return {Netbase::IpAddr("10.0.0.1"), Netbase::swap_, outLabel, false};
}

/// Counts what a reader of the merged configuration is told.
struct Reader : RouteConfig::NotifieeConst {
  void onRoute(const RouteKey& key) override { ++told[key]; }
  void onReady() override { ++ready; }
  std::map<RouteKey, int> told;
  int ready = 0;
};

class MergeFixture : public ::testing::Test {
 protected:
  MergeFixture() {
    registerEntityTypes(registry);
    dir = Forma::ptrCast<Forma::Dir>(em->newEntity(RouteConfigMounter::directory(), "Forma::Dir"));
    staticInput = input("routing/mpls/route/input/static");
    reader.notifierIs(merged);
  }
  ~MergeFixture() override { em->close(); }

  Forma::Ptr<RouteConfigInput> input(const std::string& path) {
    return Forma::ptrCast<RouteConfigInput>(em->newEntity(path, "Mpls::RouteConfigInput"));
  }
  /// Gets or creates the dynamic input `name`.
  Forma::Ptr<RouteConfigInput> dynamic(const std::string& name) {
    return input(std::string(RouteConfigMounter::directory().view()) + name);
  }
  void start() { sm = routeConfigMergeSmFactory(merged, dir, staticInput, em); }

  Kiln::TestClock clock;
  Kiln::EventLoop loop{clock};
  Forma::TypeRegistry registry;
  Forma::Ptr<Centrum::LocalEntityManager> em = Centrum::localEntityManagerFactory(loop, registry);
  Forma::Ptr<Forma::Dir> dir;
  Forma::Ptr<RouteConfigInput> staticInput;
  Forma::Ptr<RouteConfig> merged = routeConfigFactory("config");
  Reader reader;
  Forma::Ptr<RouteConfigMergeSm> sm;
};

}  // namespace Mpls
