/// Where agents find each other's entities in the database, and each other's tables.
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

/// A directory of Mpls::ClientLabelRequest: what each client of the label manager asks for, by its
/// name, and owned by it.
inline const std::string labelRequestDir = "mpls/config/labelRequest";
inline std::string labelRequestPath(const std::string& client) {
  return labelRequestDir + "/" + client;
}
/// Of type Mpls::Api::Status: the label blocks of all clients; owned by the agent that gives them.
inline const std::string apiStatusPath = "routing/mpls/api/status";
/// Of type Mpls::WaitingLabelRequests: since when requests wait for a block; owned by the same.
inline const std::string labelWaitPath = "routing/mpls/api/labelWait";

/// A directory of Mpls::LfibIpLookupStatus: for each LFIB, by its name, the labels whose packets
/// are looked up in a VRF.
inline const std::string ipLookupDir = "routing/mpls/lfib/ipLookup";
inline std::string ipLookupPath(const std::string& lfib) { return ipLookupDir + "/" + lfib; }
/// Of type Mpls::LfibCentrumStatus: what stands in the forwarding map for one label each.
inline const std::string labelViasPath = "routing/mpls/lfib/labelVias";

/// Of type Ldp::LdpLinkReadyStatusVrfColl: on which links LDP is ready; owned by the LDP agent, or
/// by that instance of it.
inline std::string ldpLinkReadyPath(const std::string& instance) {
  return "routing/mpls/ldp/linkReady" + (instance.empty() ? "" : "-" + instance);
}

/// Holds what agents share beside the database, unless --run says otherwise.
inline constexpr const char* defaultRun = "/run/mpls";
/// Holds a directory of LFIB tables for each agent that writes such.
inline std::string lfibParent(const std::string& run) { return run + "/lfib"; }
/// That of the static routes.
inline std::string staticLfib(const std::string& run) { return lfibParent(run) + "/static"; }
/// Holds a directory of segment-routing tables for each instance of a protocol that writes such,
/// whose LFIB is called "sr-" and the instance.
inline std::string srParent(const std::string& run) { return run + "/sr"; }
inline std::string srTables(const std::string& run, const std::string& instance) {
  return srParent(run) + "/" + instance;
}
inline std::string srLfib(const std::string& run, const std::string& instance) {
  return lfibParent(run) + "/sr-" + instance;
}
/// The tables and the LFIB of the LDP agent, or of that instance of it.
inline std::string ldpTables(const std::string& run, const std::string& instance) {
  return run + "/ldp" + (instance.empty() ? "" : "-" + instance);
}
inline std::string ldpLfib(const std::string& run, const std::string& instance) {
  return ldpTables(lfibParent(run), instance);
}
/// Holds the tables of the forwarding agent.
inline std::string forwardingTables(const std::string& run) { return run + "/forwarding"; }
/// Holds the ring traces of agents, when it is there.
inline std::string ringParent(const std::string& run) { return run + "/trace"; }
inline std::string ringFile(const std::string& run, const std::string& agent) {
  return ringParent(run) + "/" + agent + ".ring";
}

}  // namespace Agents
