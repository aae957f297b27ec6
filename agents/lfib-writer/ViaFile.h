/// The file of labels that do not lead to MPLS next hops:
///
///   {
///     "ipLookup":   [{"label": 1000, "vrf": "red", "family": "ipv4"}],
///     "pseudowire": [{"interface": "pw1", "type": "ethernet", "controlWord": true,
///                     "labels": [2000, 2001]}],
///     "tagMap":     {"source": "bgpL2Evpn", "index": 7, "vlans": {"100": 10}}
///   }
///
/// Every part may be left out, "vrf" (the default VRF) and "controlWord" (none) as well. A label
/// stands in one place of the file.
#pragma once

#include <map>
#include <string_view>
#include <vector>

#include "agents/routes/Diagnostic.h"
#include "mpls/lfib/LfibIpLookupVia.h"
#include "mpls/lfib/LfibPwVia.h"
#include "mpls/types/RouteKey.h"

namespace LfibWriterAgent {

/// What the file asks for. Rows have no keys of their own.
struct ViaFile {
  using Tags = std::map<Netbase::VlanId, Netbase::VlanId>;

  std::map<Mpls::RouteKey, Mpls::LfibIpLookupVia> ipLookups;
  std::map<Mpls::RouteKey, Mpls::LfibPwVia> pseudowires;
  std::map<Mpls::LfibDot1qTagToVlanKey, Tags> tagMaps;  ///< one at most
  /// What is wrong. A file with errors is not to be used.
  std::vector<StaticRoutes::Diagnostic> errors;
};

/// Reads a file's text.
ViaFile viaFileFromText(std::string_view text);

}  // namespace LfibWriterAgent
