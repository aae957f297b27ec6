/// The ways out of the switch that one layer 2 adjacency has.
#pragma once

#include <compare>
#include <cstddef>
#include <cstdint>

#include "mpls/types/Hardware.h"
#include "platform/forma/OrderedMap.h"

namespace Mpls::Hardware {

/// L2 vias, each with a flag of its writer's choice. Sets are equal when they hold the same vias
/// with the same flags.
///
/// Text      `Value('Mpls::Hardware::L2ViaSet', ** {'l2Via': {VIA: FLAG, ...}})`, in key order.
/// Cost      lookup in constant time; one pointer while the set is empty.
class L2ViaSet {
  FORMA_OPAQUE_VALUE(Mpls::Hardware::L2ViaSet)
 public:
  using L2Vias = Forma::OrderedMap<L2Via, bool>;

  L2ViaSet() = default;
  bool operator==(const L2ViaSet&) const = default;
  auto operator<=>(const L2ViaSet&) const = default;
  std::uint64_t hash() const { return l2Vias_.hash(); }

  /// Adds a via or overwrites its flag.
  void l2ViaIs(const L2Via& via, bool value) { l2Vias_.put(via, value); }
  /// The same, as in collections of entities.
  void newL2Via(const L2Via& via, bool value) { l2ViaIs(via, value); }
  /// Removes a via; does nothing when it is not there.
  void l2ViaDel(const L2Via& via) { l2Vias_.erase(via); }
  void l2ViaDelAll() { l2Vias_.clear(); }

  /// The flag of a via; false when it is not there.
  bool l2Via(const L2Via& via) const {
    const bool* found = l2Vias_.find(via);
    return found != nullptr && *found;
  }
  /// The same, valid until the next change; null when it is not there.
  const bool* l2ViaFind(const L2Via& via) const { return l2Vias_.find(via); }
  /// How many there are.
  std::size_t l2Vias() const { return l2Vias_.size(); }
  /// The vias in key order. The set may change during the walk.
  const L2Vias& l2ViaIteratorConst() const { return l2Vias_; }

 private:
  L2Vias l2Vias_;
};

}  // namespace Mpls::Hardware

template <>
inline constexpr bool Forma::isRelocatable<Mpls::Hardware::L2ViaSet> = true;
