/// A label manager with its inputs in a database of the test's own.
#pragma once

#include <gtest/gtest.h>

#include <map>
#include <set>
#include <string>

#include "mpls/labelmgr/LabelManagerSm.h"
#include "mpls/labelmgr/Registration.h"
#include "platform/centrum/LocalEntityManager.h"

namespace Mpls {

using Request = std::pair<std::string, std::string>;  ///< client and identifier
using Blocks = std::map<Request, std::uint32_t>;      ///< to the first label

class LabelManagerFixture : public ::testing::Test {
 protected:
  LabelManagerFixture() {
    registerLabelManagerTypes(registry);
    dir = Forma::ptrCast<Forma::Dir>(em->newEntity("mpls/config/labelRequest", "Forma::Dir"));
    config->mplsRoutingIs(true);
  }
  ~LabelManagerFixture() override { em->close(); }

  void start() {
    sm = nullptr;
    sm = labelManagerSmFactory(loop.timers(), em, dir, config, status);
  }
  /// Gets or creates the requests of a client.
  Forma::Ptr<ClientLabelRequest> client(const std::string& name) {
    return Forma::ptrCast<ClientLabelRequest>(
        em->newEntity("mpls/config/labelRequest/" + name, "Mpls::ClientLabelRequest"));
  }
  void rangeIs(std::uint32_t base, std::uint32_t size) {
    config->labelRangeIs("dynamic", LabelRange(base, size));
  }
  Blocks published() const {
    Blocks all;
    for (const auto& one : status->labelBlockAllocationIteratorConst())
      for (const auto& held : one.value->blockIteratorConst())
        all[{std::string(one.key), std::string(held.key)}] = held.value.blockStart().value();
    return all;
  }
  /// Where the block of a request starts; 1048576 for none.
  std::uint32_t block(const std::string& name, const std::string& id) const {
    const auto alloc = status->labelBlockAllocation(name);
    return (alloc ? alloc->block(id) : LabelBlock()).blockStart().value();
  }

  Kiln::TestClock clock;
  Kiln::EventLoop loop{clock};
  Forma::TypeRegistry registry;
  Forma::Ptr<Centrum::LocalEntityManager> em = Centrum::localEntityManagerFactory(loop, registry);
  Forma::Ptr<Forma::Dir> dir;
  Forma::Ptr<Config> config = configFactory("config");
  Forma::Ptr<Api::Status> status = Api::statusFactory("api");
  Forma::Ptr<LabelManagerSm> sm;
};

}  // namespace Mpls
