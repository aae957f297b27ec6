/// Tables of IP prefixes as routers on the Internet had them, each with a label: 16 + the number of
/// the autonomous system that it leads to, as far as labels go.
///
/// They are read from the folder `prefixes` of $MPLS_DATA, or of ../shared/data. Where that is
/// missing generated tables of the same sizes take their place, with as much in common.
///
/// Thread    one.
#pragma once

#include <cstdint>
#include <vector>

#include "mpls/types/FwdEqvClass.h"
#include "platform/netbase/MplsLabel.h"

namespace Bench {

struct LabelledPrefix {
  Mpls::FwdEqvClass fec;
  Netbase::MplsLabel label;
  auto operator<=>(const LabelledPrefix&) const = default;
};

/// In the order of their FECs; each FEC once.
struct PrefixTables {
  std::vector<LabelledPrefix> before;  ///< 270,849, of May 2008
  std::vector<LabelledPrefix> after;   ///< 512,490, of May 2014

  static constexpr std::uint32_t gone = 146'067;  ///< bindings in `before` alone
  static constexpr std::uint32_t come = 387'708;  ///< in `after` alone
  static constexpr std::uint32_t stay = 124'782;  ///< in both
};

/// Raises std::runtime_error when a file that is there cannot be read.
PrefixTables prefixTables();

}  // namespace Bench
