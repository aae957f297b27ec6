/// Finds equals among numbered things by their hashes, in bounded time: who chose the hashes to
/// collide only gets equals past it. Private to platform/tarn.
///
/// Thread    one.
#pragma once

#include <algorithm>
#include <bit>
#include <cstddef>
#include <cstdint>
#include <utility>
#include <vector>

namespace Tarn {

class Matcher {
 public:
  static constexpr std::uint32_t none = ~0U;

  /// Forgets all, and makes room for so many things.
  void reset(std::size_t things) {
    const std::size_t size = std::bit_ceil(std::max<std::size_t>(2 * things, 8));
    shift_ = 64U - static_cast<unsigned>(std::countr_zero(size));
    slots_.assign(size, {});
  }

  void prefetch(std::uint64_t hash) const { __builtin_prefetch(&slots_[mixed(hash) >> shift_]); }

  /// A number that find() is likely to ask isEqual() about first; none when there is none.
  std::uint32_t peek(std::uint64_t hash) const { return slots_[mixed(hash) >> shift_].number; }

  /// The number of the thing for which isEqual(number) holds; none when there is none.
  template <class IsEqual>
  std::uint32_t find(std::uint64_t hash, IsEqual isEqual) const {
    return search(*this, hash, isEqual).second;
  }

  /// The same, and `number` is entered when there is none (unless its place would be too far off).
  template <class IsEqual>
  std::uint32_t findOrEnter(std::uint64_t hash, std::uint32_t number, IsEqual isEqual) {
    const auto [slot, found] = search(*this, hash, isEqual);
    if (found == none && slot != nullptr) *slot = {number, static_cast<std::uint32_t>(mixed(hash))};
    return found;
  }

 private:
  static constexpr std::size_t stepLimit = 256;
  struct Slot {
    std::uint32_t number = none;
    std::uint32_t check = 0;
  };
  static std::uint64_t mixed(std::uint64_t hash) {
    return (hash ^ hash >> 32) * 0x9e3779b97f4a7c15U;
  }

  /// The first free slot, or null, and none; or that of the thing, and its number.
  template <class Self, class IsEqual>
  static auto search(Self& self, std::uint64_t hash, IsEqual isEqual) {
    const std::uint64_t mix = mixed(hash);
    auto* slots = self.slots_.data();
    using Found = std::pair<decltype(slots), std::uint32_t>;
    for (std::size_t step = 0, at = mix >> self.shift_; step < stepLimit; ++step, ++at) {
      auto* slot = slots + (at & (self.slots_.size() - 1));
      if (slot->number == none) return Found{slot, none};
      if (slot->check == static_cast<std::uint32_t>(mix) && isEqual(slot->number))
        return Found{slot, slot->number};
    }
    return Found{nullptr, none};
  }

  std::vector<Slot> slots_;
  unsigned shift_ = 61;
};

}  // namespace Tarn
