#include "platform/forma/SlotBlock.h"

#include <algorithm>
#include <cstring>
#include <limits>
#include <new>
#include <stdexcept>
#include <utility>

#include "platform/forma/Memory.h"

namespace Forma {
namespace {

std::size_t sizeOf(std::uint32_t capacity, std::size_t slotSize) {
  return sizeof(SlotHead) + capacity * slotSize;
}

/// Memory of a cache line and more starts at one. The head is moved so that the slots do, too.
std::size_t lead(std::size_t size) { return size < alignedMemory ? 0 : 64 - sizeof(SlotHead); }

char* memoryOf(SlotHead* head, std::size_t size) {
  return reinterpret_cast<char*>(head) - lead(size);
}

void pinsIs(SlotHead*& head, std::uint16_t pins, std::size_t slotSize) {
  if (head == nullptr && pins != 0) head = SlotHead::make(0, slotSize);
  if (head == nullptr) return;
  head->pins = pins;
  if (head->idle()) SlotHead::destroy(std::exchange(head, nullptr), slotSize);
}

}  // namespace

SlotHead* SlotHead::make(std::uint32_t capacity, std::size_t slotSize) {
  const std::size_t size = sizeOf(capacity, slotSize);
  char* memory = static_cast<char*>(memoryNew(size + lead(size)));
  SlotHead* head = new (memory + lead(size)) SlotHead;
  head->capacity = capacity;
  return head;
}

SlotHead* SlotHead::enlarge(SlotHead* head, std::uint32_t capacity, std::size_t slotSize) {
  const std::size_t from = sizeOf(head->capacity, slotSize);
  const std::size_t to = sizeOf(capacity, slotSize);
  if (lead(from) == lead(to)) {
    void* memory = memoryGrow(memoryOf(head, from), from + lead(from), to + lead(to));
    head = reinterpret_cast<SlotHead*>(static_cast<char*>(memory) + lead(to));
  } else {
    SlotHead* next = make(capacity, slotSize);
    std::memcpy(static_cast<void*>(next), head, from);
    discard(head, slotSize);
    head = next;
  }
  head->capacity = capacity;
  return head;
}

void SlotHead::destroy(SlotHead* head, std::size_t slotSize) noexcept {
  head->release();
  discard(head, slotSize);
}

void SlotHead::discard(SlotHead* head, std::size_t slotSize) noexcept {
  const std::size_t size = sizeOf(head->capacity, slotSize);
  memoryDel(memoryOf(head, size), size + lead(size));
}

void SlotHead::swap(SlotHead*& a, SlotHead*& b, std::size_t slotSize) noexcept {
  const std::uint16_t pinsOfA = a == nullptr ? std::uint16_t{0} : a->pins;
  const std::uint16_t pinsOfB = b == nullptr ? std::uint16_t{0} : b->pins;
  std::swap(a, b);
  if ((pinsOfA | pinsOfB) == 0) return;
  pinsIs(a, pinsOfA, slotSize);
  pinsIs(b, pinsOfB, slotSize);
}

void SlotHead::pin() {
  if (pins == std::numeric_limits<std::uint16_t>::max())
    throw std::length_error("Forma: 65535 walks of a map are open");
  ++pins;
}

std::uint32_t SlotHead::nextCapacity(std::uint32_t capacity) {
  if (capacity == noSlot) throw std::length_error("Forma: a map has at most 4294967040 slots");
  // Of maps of some ten elements there may be many: twice as large they were half empty.
  const std::uint64_t more = capacity >= 8 && capacity < SlotIndex::scanned ? 4 : capacity;
  return static_cast<std::uint32_t>(std::clamp<std::uint64_t>(capacity + more, 1, noSlot));
}

std::size_t SlotHead::bytes(std::size_t slotSize) const {
  const std::size_t block = sizeOf(capacity, slotSize);
  return block + lead(block) + indexBytes();
}

}  // namespace Forma
