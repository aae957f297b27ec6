/// The next hops of one route.
#pragma once

#include <compare>
#include <cstddef>
#include <cstdint>

#include "mpls/types/Namespace.h"
#include "mpls/types/Via.h"
#include "platform/forma/OrderedMap.h"

namespace Mpls {

/// Vias, each with a number of its writer's choice. Sets are equal when they hold the same vias
/// with the same numbers; they are ordered like the sequences of their elements in key order.
///
/// Text      `Value('Mpls::ViaSet', ** {'via': {VIA: NUMBER, ...}})`, in key order.
/// Cost      lookup in constant time; one pointer while the set is empty.
class ViaSet {
  FORMA_OPAQUE_VALUE(Mpls::ViaSet)
 public:
  using Vias = Forma::OrderedMap<Via, std::int32_t>;

  ViaSet() = default;
  bool operator==(const ViaSet&) const = default;
  auto operator<=>(const ViaSet&) const = default;
  std::uint64_t hash() const { return vias_.hash(); }

  /// Adds a via or overwrites its number.
  void viaIs(const Via& via, std::int32_t value) { vias_.put(via, value); }
  /// The same, as in collections of entities.
  void newVia(const Via& via, std::int32_t value) { viaIs(via, value); }
  /// Removes a via; does nothing when it is not there.
  void viaDel(const Via& via) { vias_.erase(via); }
  void viaDelAll() { vias_.clear(); }

  /// The number of a via; 0 when it is not there.
  std::int32_t via(const Via& via) const {
    const std::int32_t* found = vias_.find(via);
    return found == nullptr ? 0 : *found;
  }
  /// The same, valid until the next change; null when it is not there.
  const std::int32_t* viaFind(const Via& via) const { return vias_.find(via); }
  /// How many there are.
  std::size_t vias() const { return vias_.size(); }
  /// The vias in key order: `for (const auto& [via, value] : set.viaIteratorConst())`. The set may
  /// change during the walk.
  const Vias& viaIteratorConst() const { return vias_; }

 private:
  Vias vias_;
};

}  // namespace Mpls

template <>
inline constexpr bool Forma::isRelocatable<Mpls::ViaSet> = true;
