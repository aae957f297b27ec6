/// Routes of an LFIB with all that they lead to, as people and programs read them.
///
/// The tables may change while they are read: a route is read again when what it names is gone,
/// until that is so because nothing is there.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "mpls/lfib/LfibStatus.h"

namespace MplsCtl {

/// A via that a route leads over.
struct LfibVia {
  Mpls::LfibViaKey key;
  std::optional<Mpls::LfibMplsVia> mpls;  ///< of type viaTypeMplsIp
  std::string other;                      ///< the text of a row of another type
  std::string brief;                      ///< the same for people
  bool isThere() const { return mpls || !other.empty(); }
};

struct LfibEntry {
  Mpls::LfibRoute route;
  bool hasViaSet = false;
  std::vector<LfibVia> vias;  ///< those of the via set, there or not
  bool isUsable() const;
};

/// The route of `key` now; nothing when there is none.
std::optional<LfibEntry> lfibEntryOf(const Mpls::LfibStatus& lfib, const Mpls::RouteKey& key);

/// "label 100 metric 100 from staticMpls: via 10.0.0.1 swap 200, ...".
std::string lfibLine(const LfibEntry& entry);
/// "label 100 metric 100"
std::string textOf(const Mpls::RouteKey& key);

}  // namespace MplsCtl
