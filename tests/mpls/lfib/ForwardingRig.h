/// LFIBs that are written, rows that make sense or not among them, and a forwarding machine over
/// them whose outputs are compared as text.
#pragma once

#include <gtest/gtest.h>

#include <cstdint>
#include <map>
#include <set>
#include <string>
#include <variant>
#include <vector>

#include "mpls/lfib/LfibForwardingSm.h"
#include "mpls/lfib/LfibIpLookupSm.h"

namespace Mpls {

using Lines = std::map<std::string, std::string>;

inline std::string text(const auto& value) {
  return std::string(Forma::valueToStrep(value).view());
}
inline RouteKey key(std::uint32_t label, std::uint8_t metric = 0) { return {label, metric}; }

inline LfibViaRow anyVia(const LfibViaKey& at, std::uint32_t content) {
  switch (at.viaType()) {
    case viaTypeMplsPseudowire_:
      return LfibPwVia(at, Netbase::IntfId("pw" + std::to_string(content)), false, pwTypeEthernet_);
    case viaTypeIpLookup_:
      return LfibIpLookupVia(at, L3::VrfName("vrf" + std::to_string(content)), Netbase::ipv4_);
    case viaTypeVlan_:
      return LfibVlanVia(at, 1 + content, {});
    case viaTypeEvpnVlanAware_:
      return LfibEvpnVlanAwareVia(at, {LFib::lfibSourceBgpLu_, content}, {});
    case viaTypeEvpnEthernetSegment_:
      return LfibEvpnEthernetSegmentFilterVia(at, Netbase::IntfId("et" + std::to_string(content)));
    case viaTypeEvpnVlanFlood_:
      return LfibEvpnVlanFloodVia(at, 1 + content, {});
    case viaTypeEvpnVlanAwareFlood_:
      return LfibEvpnVlanAwareFloodVia(at, {LFib::lfibSourceBgpLu_, content}, {});
    default:
      return LfibMplsVia(at, Netbase::IpGenAddr("10.0.0.1"), Netbase::swap_, 100 + content, false);
  }
}

/// An LFIB that is written, with the machines of its reader.
struct Lfib {
  explicit Lfib(const Forma::Ptr<LfibStatus>& written)
      : status(written),
        backlog(lfibTrackingStatusFactory("backlog")),
        tracking(lfibTrackingSmFactory(status, backlog, "tracking")),
        ipLookup(lfibIpLookupSmFactory(status, backlog, lfibIpLookupStatusFactory("ipLookup"))) {}

  /// What checks refuse is stored, and not told: a reader in another process is told.
  template <class Write, class Notify>
  static void checked(Write write, Notify notify) {
    try {
      write();
    } catch (const Forma::InternalException&) {
      notify();
    }
  }
  void viaIs(const LfibViaKey& at, std::uint32_t content) const {
    std::visit(
        [&]<class Row>(const Row& row) {
          checked([&] { LfibViaTable<Row>::commit(*status, row); },
                  [&] { LfibViaTable<Row>::tell(*status, at); });
        },
        anyVia(at, content));
  }
  void viaDel(const LfibViaKey& at) const {
    std::visit([&]<class Row>(const Row&) { LfibViaTable<Row>::del(*status, at); }, anyVia(at, 0));
  }
  void viaSetIs(const LfibViaSet& row) const {
    checked([&] { status->viaSetIs(row); }, [&] { status->viaSetNotify(row.key()); });
  }
  void viaSetDel(const LfibViaSetKey& at) const {
    checked([&] { status->viaSetDel(at); }, [&] { status->viaSetNotify(at); });
  }
  void routeIs(const LfibRoute& row) const {
    checked([&] { status->lfibRouteIs(row); }, [&] { status->lfibRouteNotify(row.key()); });
  }
  void routeDel(const RouteKey& at) const {
    checked([&] { status->lfibRouteDel(at); }, [&] { status->lfibRouteNotify(at); });
  }

  Forma::Ptr<LfibStatus> status;
  Forma::Ptr<LfibTrackingStatus> backlog;
  Forma::Ptr<LfibTrackingSm> tracking;
  Forma::Ptr<LfibIpLookupSm> ipLookup;
};

/// A machine with outputs of its own.
struct Forwarding {
  explicit Forwarding(const std::vector<Lfib>& lfibs, Forma::Ptr<LfibHwStatus> there = nullptr)
      : status(statusFactory("status")),
        hwStatus(there ? there : lfibHwStatusFactory("hw")),
        reasons(lfibHwReasonStatusFactory("reasons")) {
    std::vector<LfibForwardingSm::Lfib> inputs;
    for (const Lfib& one : lfibs) inputs.push_back({one.status, one.backlog, one.tracking});
    sm = lfibForwardingSmFactory(inputs, {status, hwStatus, reasons}, loop);
    loop.runUntilIdle();
    EXPECT_TRUE(sm->initialized());
  }

  /// All outputs as text, without indexes of adjacencies.
  Lines lines() const {
    Lines all;
    sm->eachRoute([&](const RouteKey& at, const LfibForwardingEntry& entry) {
      std::string& line = all["route " + text(at)];
      line = std::to_string(entry.lfib()) + " " + text(entry.viaSetKey());
      for (const LfibViaRow& row : entry.vias())
        std::visit([&](const auto& one) { line += " " + text(one); }, row);
      EXPECT_EQ(sm->route(at).get(), &entry);
    });
    std::set<std::uint64_t> used;
    for (const auto& [at, route] : status->lfibRouteIteratorConst()) {
      const auto adjacency = status->getAdjacencyBase(route);
      used.insert(route.adjKey().index());
      all["status " + text(at)] =
          adjacency ? text(route.source()) + contentOf(route) : "no adjacency";
    }
    EXPECT_EQ(used.size(), status->lfibAdjacencys() + status->lfibPwAdjacencys());
    for (const auto& [at, row] : hwStatus->unprogrammedRouteIteratorConst())
      all["unprogrammed " + text(at)] = text(row);
    for (const auto& [at, row] : reasons->unprogrammedReasonIteratorConst())
      all["reason " + text(at)] = text(row);
    return all;
  }
  std::string contentOf(const LFib::Route& route) const {
    if (route.adjKey().adjType() == mplsIp_) return text(status->getAdjacency(route)->viaSet());
    return text(status->getPwAdjacency(route)->via());
  }
  /// The reasons of a key, by LFIB, and its return code: "1:reasonConflict conflict".
  std::string reasonsOf(const RouteKey& at) const {
    std::string all;
    for (std::uint32_t lfib = 0; lfib < 3; ++lfib) {
      UnprogrammedReason row;
      if (reasons->unprogrammedReasonFind({at, lfib}, &row))
        all += std::to_string(lfib) + ":" + std::string(formaEnumName(row.reason())) + " ";
    }
    RouteInfo info;
    if (!hwStatus->unprogrammedRouteFind(at, &info)) return all + "programmed";
    return all + std::string(formaEnumName(info.status()));
  }

  Kiln::EventLoop loop;
  Forma::Ptr<Status> status;
  Forma::Ptr<LfibHwStatus> hwStatus;
  Forma::Ptr<LfibHwReasonStatus> reasons;
  Forma::Ptr<LfibForwardingSm> sm;
};

}  // namespace Mpls
