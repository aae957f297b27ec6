/// Where agents find each other's entities in the database.
#pragma once

#include <string>

namespace Agents {

/// Of type Mpls::Config; owned by the agent that serves the static input.
inline const std::string configPath = "routing/mpls/config";
/// Of type Mpls::RouteConfigInput, as are the entries of the directory of dynamic inputs.
inline const std::string staticInputPath = "routing/mpls/route/input/static";
inline const std::string dynamicInputDir = "routing/mpls/route/input/dynamic";
/// Of type Mpls::RouteConfig; owned by the agent that merges the inputs.
inline const std::string mergedPath = "routing/mpls/route/config";

}  // namespace Agents
