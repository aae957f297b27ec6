/// Where the tests of agents find recordings: our samples, and those of real routers where there
/// are any ($MPLS_DATA, else ../shared/data beside the tree).
#pragma once

#include <cstdlib>
#include <filesystem>

namespace AgentTest {

/// The folder of the tree.
inline std::filesystem::path sourceRoot() {
  return std::filesystem::path(__FILE__).parent_path().parent_path().parent_path();
}

/// A folder of data that others recorded, which may not be there.
inline std::filesystem::path sharedData(const std::string& name) {
  const char* const data = std::getenv("MPLS_DATA");
  return (data != nullptr ? std::filesystem::path(data) : sourceRoot() / "../shared/data") / name;
}

}  // namespace AgentTest
