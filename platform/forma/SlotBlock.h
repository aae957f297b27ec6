/// The one heap block of a map: a head of 32 bytes, then its slots side by side.
///
/// What here needs no key or value type is compiled once. A slot ends in a link, which says
/// whether the slot is live; freed slots form a list through their links.
///
/// Thread    as the map that it belongs to.
#pragma once

#include <cstddef>
#include <cstdint>

#include "platform/Export.h"
#include "platform/forma/SlotIndex.h"

namespace Forma {

/// Links from here on are those of live slots; what they add to it is free for use.
inline constexpr std::uint32_t liveLink = 0xffffff80U;

inline bool isLive(std::uint32_t link) { return link >= liveLink; }

/// The head of a block. It may be moved by copying its bytes.
struct MPLS_EXPORT SlotHead : SlotIndex {
  std::uint16_t pins = 0;       ///< Open walks. They stay with their map when blocks are swapped.
  std::uint32_t size = 0;       ///< Live slots.
  std::uint32_t used = 0;       ///< Slots that are or were live: the others have no link yet.
  std::uint32_t capacity = 0;   ///< Slots in the block.
  std::uint32_t free = noSlot;  ///< First of the freed slots.
  std::uint32_t root = noSlot;  ///< Root of the ordered tree of slots, if the map has one.

  /// A new block, without an index.
  static SlotHead* make(std::uint32_t capacity, std::size_t slotSize);
  /// Moves head and slots, as bytes, into a block of a larger capacity.
  static SlotHead* enlarge(SlotHead* head, std::uint32_t capacity, std::size_t slotSize);
  /// Frees block and index; the elements are gone already.
  static void destroy(SlotHead* head, std::size_t slotSize) noexcept;
  /// Frees the block but not the index, whose owner is a copy of the head.
  static void discard(SlotHead* head, std::size_t slotSize) noexcept;
  /// Swaps two maps' blocks, either of which may be null; each map keeps its pins, for which an
  /// empty head is made where there is none.
  static void swap(SlotHead*& a, SlotHead*& b, std::size_t slotSize) noexcept;

  /// Raises std::length_error at 65,535 open walks.
  void pin();
  /// The capacity that follows when a block is full. Raises std::length_error at the limit.
  static std::uint32_t nextCapacity(std::uint32_t capacity);
  /// Bytes of block and index.
  std::size_t bytes(std::size_t slotSize) const;

  /// Whether one more slot can be had without growing. A freed slot is not reused during a walk.
  bool hasRoom() const {
    return (used < capacity || (free != noSlot && pins == 0)) && size < room();
  }
  /// Whether nothing needs the block any more.
  bool idle() const { return size == 0 && pins == 0; }
};
static_assert(sizeof(SlotHead) == 32);

}  // namespace Forma
