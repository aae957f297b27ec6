/// The bindings of a file as FRR prints it, and the next hops to its neighbours, which it does not
/// know.
///
/// Thread    one.
/// Outputs   the state; each reading writes what differs.
#pragma once

#include <set>
#include <string>
#include <vector>

#include "agents/ldp-agent/RouterState.h"
#include "agents/ldp-agent/Source.h"
#include "agents/router-bindings/BindingFile.h"

namespace LdpAgent {

using RouterBindings::BindingFile;
using RouterBindings::Use;

/// Where a neighbour is.
struct NeighborHop {
  LdpIdentifier neighbor;
  Netbase::IpGenAddr address;
  Netbase::IntfId intf;  ///< empty: where the address leads
  auto operator<=>(const NeighborHop&) const = default;
};

class FollowedFile : public Source {
 public:
  /// Reads it; `state` must outlive the object.
  FollowedFile(std::string path, std::vector<NeighborHop> hops, RouterState& state);

  bool step() override;
  void readMore() override;
  std::vector<std::string> paths() const override { return {path_}; }

 private:
  void take(const BindingFile& file);
  void install(const Use& use);

  const std::string path_;
  const std::vector<NeighborHop> hops_;
  RouterState& state_;
  std::optional<BindingFile> read_;  // that was not taken yet
};

}  // namespace LdpAgent
