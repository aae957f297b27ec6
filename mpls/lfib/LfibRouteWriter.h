/// Writes the routes of one source into an LFIB, with the vias of one kind and via sets that they
/// need.
///
/// Routes with equal vias share one via set, whatever the order of the vias, and via sets share
/// their vias. A via or via set is there as long as somebody uses it. Readers who follow a route
/// meanwhile find what it names: rows are written in the order via, via set, route, and removed in
/// the reverse; a row of a via or via set is never rewritten, other content has another index.
///
/// Thread    that of the LFIB.
/// Owns      the routes of the source, its via sets of that kind, and its rows in the table of such
///           vias. Nobody else may write these.
/// Restart   starts from the rows that are there. Who then states all routes again, and calls
///           removeUnused(), changes only what differs; rows that lead nowhere are replaced or go.
/// Errors    what the tables raise (no room, no longer the writer). What was written until then
///           stays; go on with another writer, as after a restart.
/// Memory    about 30 bytes a route, 250 a via and 150 a via set.
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

#include "mpls/lfib/LfibViaRow.h"
#include "mpls/lfib/SharedRows.h"
#include "platform/Export.h"

namespace Mpls {

/// `ViaRow` is the row of a via; that says which kind it is.
template <class ViaRow>
class MPLS_EXPORT LfibRouteWriterOf {
 public:
  static constexpr LfibViaType viaType = LfibViaTable<ViaRow>::type;
  static constexpr std::size_t maxVias =
      LfibStatus::isEvpnViaType(viaType) ? 1 : LfibViaIndexRange::max + std::size_t{1};

  /// Reads what is there, and changes nothing.
  LfibRouteWriterOf(Forma::Ptr<LfibStatus> status, LFib::Source source);
  LfibRouteWriterOf(const LfibRouteWriterOf&) = delete;
  LfibRouteWriterOf& operator=(const LfibRouteWriterOf&) = delete;

  /// Lets `key` lead over `vias`, one to maxVias of them, whose own keys do not matter; writes only
  /// what differs. Equal vias count as one. Takes the place of a route of another source.
  void routeIs(const RouteKey& key, std::span<const ViaRow> vias, const FwdEqvClass& fec = {});
  /// Removes the route, if this source has one there.
  void routeDel(const RouteKey& key);
  /// Removes the vias and via sets that were there at the start and that no route uses, or that
  /// lead nowhere. Others go by themselves.
  void removeUnused();

  std::size_t routes() const { return routes_.size(); }
  std::size_t viaSets() const { return viaSets_.size(); }
  std::size_t vias() const { return vias_.size() + misfiled_.size(); }
  /// Rows that were written or removed by this object.
  std::uint64_t changes() const { return changes_; }
  /// Calls `f(key)` for each route of the source; `f` must not change them.
  template <class F>
  void eachRoute(F f) const {
    routes_.forEach([&f](const RouteKey& key, const ViaSet*) { f(key); });
  }

 private:
  /// The indexes of the vias of a set, rising; none for a set that leads nowhere.
  struct ViaIndexes {
    std::vector<std::uint32_t> indexes;
    bool operator==(const ViaIndexes&) const = default;
    std::uint64_t hash() const {
      return Forma::hashBytes(indexes.data(), indexes.size() * sizeof(std::uint32_t));
    }
  };
  using Via = typename SharedRows<ViaRow>::Row;  // its content has the index 0
  using ViaSet = typename SharedRows<ViaIndexes>::Row;

  using Table = LfibViaTable<ViaRow>;

  LfibViaKey viaKey(std::uint32_t index) const { return {source_, viaType, index}; }
  LfibViaSetKey viaSetKey(std::uint32_t index) const { return {source_, index, viaType}; }

  void adoptVias();
  void adoptViaSets();
  void adoptRoutes();
  /// None when not all vias of the set are there.
  ViaIndexes indexesOf(const LfibViaSet& row) const;

  ViaSet& viaSetOf(std::span<const ViaRow> vias);
  Via& viaOf(const ViaRow& via);
  ViaSet& newViaSet(ViaIndexes indexes);
  /// One user less; the last one takes it along.
  void release(ViaSet& viaSet);
  void remove(ViaSet& viaSet);
  void remove(Via& via);

  const Forma::Ptr<LfibStatus> status_;
  const LFib::Source source_;
  SharedRows<ViaRow> vias_;
  SharedRows<ViaIndexes> viaSets_;
  Forma::HashMap<RouteKey, ViaSet*> routes_;  // null: there is no such via set
  std::vector<LfibViaKey> misfiled_;          // rows of other kinds in the table of vias
  std::uint64_t changes_ = 0;
};

extern template class MPLS_EXPORT LfibRouteWriterOf<LfibMplsVia>;
extern template class MPLS_EXPORT LfibRouteWriterOf<LfibPwVia>;
extern template class MPLS_EXPORT LfibRouteWriterOf<LfibIpLookupVia>;

/// That of routes over MPLS next hops.
using LfibRouteWriter = LfibRouteWriterOf<LfibMplsVia>;

}  // namespace Mpls
