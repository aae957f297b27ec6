/// A writer of LFIB tables that changes a few rows at random, over and over: every change meets
/// others of the same keys. Does what writers must do, and nothing more orderly.
#pragma once

#include <cstdint>
#include <random>
#include <string>
#include <variant>
#include <vector>

#include "mpls/lfib/LfibStatus.h"

namespace Mpls {

class LfibScribe {
 public:
  /// What was changed last; nothing when the row was not there before or after.
  using Changed = std::variant<std::monostate, RouteKey, LfibViaSetKey, LfibViaKey>;

  LfibScribe(Forma::Ptr<LfibStatus> status, unsigned seed)
      : lfib_(std::move(status)), random_(seed) {}

  void step() {
    changed = {};
    const unsigned what = below(10);
    if (what < 3) changeRoute();
    else if (what < 5) changeViaSet();
    else if (what < 7) changeVia();
    else changeMap();
  }
  unsigned below(unsigned n) { return static_cast<unsigned>(random_() % n); }

  Changed changed;

 private:
  /// Routes of labels below 20 have one metric, and may be of any type.
  static constexpr std::uint32_t firstPlain = 20;

  LfibViaType anyType() {
    return std::vector{viaTypeMplsIp_, viaTypeMplsPseudowire_, viaTypeIpLookup_}[below(3)];
  }
  LfibViaSetKey viaSetKey(LfibViaType type) { return {source, below(4), type}; }
  LfibViaKey viaKey(LfibViaType type) { return {source, type, below(5)}; }

  template <class Key, class Removed>
  void removed(const Key& key, const Removed& row) {
    if (!(row == Removed())) changed = key;
  }

  void changeRoute() {
    const std::uint32_t label = 16 + below(8);
    const bool plain = label >= firstPlain;
    const RouteKey key(label, static_cast<std::uint8_t>(plain ? below(2) : 0));
    if (below(3) == 0) return removed(key, lfib_->lfibRouteDel(key));
    lfib_->lfibRouteIs({key, viaSetKey(plain ? viaTypeMplsIp_ : anyType()), source});
    changed = key;
  }
  void changeViaSet() {
    const LfibViaSetKey key = viaSetKey(anyType());
    if (below(3) == 0) return removed(key, lfib_->viaSetDel(key));
    std::vector<LfibViaKey> vias(key.viaType() == viaTypeIpLookup_ ? 1 : below(4));
    for (LfibViaKey& via : vias) via = viaKey(key.viaType());
    lfib_->viaSetIs(LfibViaSet(key, vias));
    changed = key;
  }
  void changeVia() {
    const LfibViaKey key = viaKey(anyType());
    const bool gone = below(3) == 0;
    if (key.viaType() == viaTypeMplsIp_) {
      if (gone) return removed(key, lfib_->mplsViaDel(key));
      lfib_->mplsViaIs(LfibMplsVia(key));
    } else if (key.viaType() == viaTypeMplsPseudowire_) {
      if (gone) return removed(key, lfib_->pwViaDel(key));
      lfib_->pwViaIs(LfibPwVia(key));
    } else {
      if (gone) return removed(key, lfib_->ipLookupViaDel(key));
      const L3::VrfName vrf("vrf-" + std::to_string(below(3)));
      lfib_->ipLookupViaIs({key, vrf, below(2) != 0 ? Netbase::ipv4_ : Netbase::ipv6_});
    }
    changed = key;
  }
  /// Tags go before their map does.
  void changeMap() {
    const LfibDot1qTagToVlanKey key(source, below(3));
    const unsigned what = below(8);
    if (what == 0) {
      if (const auto map = lfib_->dot1qTagToVlanColl(key)) map->dot1qTagToVlanIdDelAll();
      return lfib_->dot1qTagToVlanCollDel(key);
    }
    if (what == 1) {  // another one takes its place, which has its tags and one more
      const auto next = lfibDot1qTagToVlanFactory(key);
      if (const auto map = lfib_->dot1qTagToVlanColl(key))
        for (const auto& one : map->dot1qTagToVlanIdIteratorConst())
          next->dot1qTagToVlanIdIs(one.key, 1 + below(5));
      next->dot1qTagToVlanIdIs(6, 1);
      return lfib_->dot1qTagToVlanCollIs(next);
    }
    const auto map = lfib_->dot1qTagToVlanCollIs(key);
    if (what < 4) map->dot1qTagToVlanIdDel(1 + below(6));
    else map->dot1qTagToVlanIdIs(1 + below(6), 1 + below(5));
  }

  static constexpr LFib::Source source = LFib::lfibSourceBgpL2Evpn_;

  const Forma::Ptr<LfibStatus> lfib_;
  std::mt19937 random_;
};

}  // namespace Mpls
