/// The eight kinds of vias alike: which table of an LFIB holds which row, and a row of any kind.
#pragma once

#include <cstddef>
#include <utility>
#include <variant>

#include "mpls/lfib/LfibStatus.h"

namespace Mpls {

/// The table that holds rows of that type, and how it is written:
///
///   type                 the via type in its keys
///   of(lfib)             the table
///   commit(lfib, row)    writes a row
///   del(lfib, key)       removes one
///   tell(lfib, key)      repeats the notification
template <class Row>
struct LfibViaTable;

#define MPLS_VIA_TABLE(Row, viaType, name, nameTable, nameCommit, nameDel, nameNotify)        \
  template <>                                                                                 \
  struct LfibViaTable<Row> {                                                                  \
    static constexpr LfibViaType type = viaType;                                              \
    static const auto& of(const LfibStatus& lfib) { return lfib.nameTable(); }                \
    static auto& of(LfibStatus& lfib) { return lfib.nameTable(); }                            \
    static void commit(LfibStatus& lfib, const Row& row) { lfib.nameCommit(row); }            \
    static void del(LfibStatus& lfib, const LfibViaKey& key) { lfib.nameDel(key); }           \
    static void tell(const LfibStatus& lfib, const LfibViaKey& key) { lfib.nameNotify(key); } \
  };
#define MPLS_VIA_TABLE_OF(Row, viaType, name) \
  MPLS_VIA_TABLE(Row, viaType, name, name##Table, name##Commit, name##Del, name##Notify)

MPLS_VIA_TABLE_OF(LfibMplsVia, viaTypeMplsIp_, mplsVia)
MPLS_VIA_TABLE_OF(LfibPwVia, viaTypeMplsPseudowire_, pwVia)
MPLS_VIA_TABLE_OF(LfibIpLookupVia, viaTypeIpLookup_, ipLookupVia)
MPLS_VIA_TABLE_OF(LfibVlanVia, viaTypeVlan_, vlanVia)
MPLS_VIA_TABLE_OF(LfibEvpnVlanAwareVia, viaTypeEvpnVlanAware_, evpnVlanAwareVia)
MPLS_VIA_TABLE_OF(LfibEvpnEthernetSegmentFilterVia, viaTypeEvpnEthernetSegment_,
                  evpnEthernetSegmentFilterVia)
MPLS_VIA_TABLE_OF(LfibEvpnVlanFloodVia, viaTypeEvpnVlanFlood_, evpnVlanFloodVia)
MPLS_VIA_TABLE_OF(LfibEvpnVlanAwareFloodVia, viaTypeEvpnVlanAwareFlood_, evpnVlanAwareFloodVia)

#undef MPLS_VIA_TABLE_OF
#undef MPLS_VIA_TABLE

/// The row of a via of any kind; its alternatives stand in the order of LfibViaType.
using LfibViaRow =
    std::variant<LfibMplsVia, LfibPwVia, LfibIpLookupVia, LfibVlanVia, LfibEvpnVlanAwareVia,
                 LfibEvpnEthernetSegmentFilterVia, LfibEvpnVlanFloodVia, LfibEvpnVlanAwareFloodVia>;

constexpr LfibViaType lfibViaTypeOf(const LfibViaRow& row) {
  return static_cast<LfibViaType>(row.index() + 1);
}
constexpr bool hasLfibViaTable(LfibViaType type) {
  return type >= viaTypeMplsIp_ && type <= viaTypeEvpnVlanAwareFlood_;
}
static_assert(std::variant_size_v<LfibViaRow> == viaTypeEvpnVlanAwareFlood_);

/// Whether the via is there, in the table of its type, and can be used; if not, `row` is of no use.
MPLS_EXPORT bool lfibViaRowFind(const LfibStatus& lfib, const LfibViaKey& key, LfibViaRow* row);

}  // namespace Mpls
