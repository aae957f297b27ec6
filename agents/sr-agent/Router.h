/// One recorded router as segment routing sees it: its segments and those that it learnt, the
/// routes that it installs with labels on them, and its labels.
///
/// Thread    one.
/// Errors    InputError where an event is not as expected; the router is then as before it, or has
///           taken part of it.
#pragma once

#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "agents/replay/Interfaces.h"
#include "agents/replay/LabelChange.h"
#include "agents/sr-agent/Segments.h"
#include "mpls/tables/FibRoute.h"

namespace SrAgent {

/// The rows of the tables, ordered by key.
struct Rows {
  std::map<Netbase::Prefix, Tarn::Fib::Route> v4Routes;
  std::map<Netbase::Ip6Prefix, Tarn::Fib6::Route> v6Routes;
  std::map<Netbase::IpGenPrefix, PrefixSegment> prefixSegments;
  std::map<Mpls::RouterId, GlobalBlock> globalBlocks;
};

class Router {
 public:
  explicit Router(const Replay::Node& config);

  void take(const Replay::Node& event);

  /// None while neither the configuration nor an event told.
  const std::optional<Mpls::RouterId>& id() const { return id_; }
  const Replay::Interfaces& interfaces() const { return interfaces_; }
  /// The router's own global block; of size 0 when it has none.
  const Mpls::LabelRange& globalBlock() const { return own_.globalBlock; }
  /// What the events taken so far installed, in their order.
  const std::vector<Replay::LabelChange>& labelChanges() const { return labelChanges_; }
  /// Of a prefix that several routers advertise the row is this router's own, or that of the
  /// smallest identifier.
  Rows rows() const;

 private:
  /// A route with labels, as the protocol installed it.
  struct IpRoute {
    std::string protocol;
    std::uint8_t preference;
    std::uint32_t metric;
    std::vector<Replay::NextHop> nextHops;
  };

  void takeIbus(const Replay::Node& ibus);
  void addRoute(const Replay::Node& add);
  void removeRoute(const Replay::Node& remove);
  void addSegments(const Mpls::RouterId& router, const Segments& segments, Rows& rows) const;
  std::vector<Tarn::Fib::Via> viasOf(const IpRoute& route) const;

  std::optional<Mpls::RouterId> id_;
  Segments own_;
  LsaStore lsas_;
  Replay::Interfaces interfaces_;
  std::map<Netbase::IpGenPrefix, IpRoute> routes_;
  std::vector<Replay::LabelChange> labelChanges_;
};

}  // namespace SrAgent
