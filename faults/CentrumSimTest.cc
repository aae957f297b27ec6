// The central database under all that can befall it, at random: production code of server and
// clients over a simulated network and clock, a run for each seed.
//
// MPLS_SIM_SEEDS says how many seeds, MPLS_SIM_FIRST the first one.
#include <gtest/gtest.h>

#include <cstdlib>
#include <iostream>

#include "faults/CentrumWorld.h"

namespace CentrumSim {
namespace {

std::uint32_t fromEnvironment(const char* name, std::uint32_t otherwise) {
  const char* const text = std::getenv(name);
  return text ? static_cast<std::uint32_t>(std::strtoul(text, nullptr, 10)) : otherwise;
}

TEST(CentrumSimTest, NothingIsLostInventedOrHalfTold) {
  const std::uint32_t first = fromEnvironment("MPLS_SIM_FIRST", 1);
  const std::uint32_t seeds = fromEnvironment("MPLS_SIM_SEEDS", 500);
  std::uint64_t starts = 0, turns = 0, told = 0, mounts = 0;
  int failures = 0;
  std::uint32_t seed = first;
  for (; seed - first < seeds && failures < 3; ++seed) {
    World world(seed);
    if (const std::string problem = world.run(); !problem.empty()) {
      ++failures;
      ADD_FAILURE() << "seed " << seed << ": " << problem << "\nreproduce: MPLS_SIM_FIRST=" << seed
                    << " MPLS_SIM_SEEDS=1 ./run faults";
    }
    starts += world.serverStarts();
    turns += world.stage().turns;
    told += world.stage().told;
    mounts += world.stage().completed;
  }
  std::cout << "simulated " << seed - first << " seeds from " << first << ": " << starts
            << " server starts, " << mounts << " mount groups, " << turns << " turns of owners, "
            << told << " notifications" << std::endl;
  EXPECT_GE(told, seeds) << "hardly anything happened";
}

}  // namespace
}  // namespace CentrumSim
