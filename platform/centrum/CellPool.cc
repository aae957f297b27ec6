#include "platform/centrum/CellPool.h"

#include <algorithm>
#include <cstring>
#include <stdexcept>

#include "platform/forma/Memory.h"
#include "platform/forma/SlotIndex.h"

namespace Centrum {

namespace {

/// Doubles from one chunk to the next.
std::size_t chunkBytes(std::size_t chunk) {
  constexpr std::size_t least = std::size_t{4} << 10;
  constexpr unsigned doublings = 13;  // to 32 MiB
  return least << std::min<std::size_t>(chunk, doublings);
}

}  // namespace

CellPool::CellPool() { free_.fill(Forma::noSlot); }

CellPool::~CellPool() {
  for (std::size_t i = 0; i < chunks_.size(); ++i) Forma::memoryDel(chunks_[i], chunkBytes(i));
}

CellPool::Block CellPool::take(std::size_t bytes) {
  const auto units = static_cast<std::uint32_t>(bytes / unit);
  std::uint32_t number = free_[units];
  if (number != Forma::noSlot) {
    std::memcpy(&free_[units], at(number), sizeof number);
  } else {
    if (end_ - next_ < units) addChunk();
    number = next_;
    next_ += units;
  }
  return {at(number), number};
}

void CellPool::give(std::uint32_t number, std::size_t bytes) noexcept {
  std::uint32_t& first = free_[bytes / unit];
  std::memcpy(at(number), &first, sizeof first);
  first = number;
}

void CellPool::addChunk() {
  const std::size_t chunk = chunks_.size();
  if (chunk >= Forma::noSlot >> unitBits)
    throw std::length_error("Centrum: the cells of a path take at most 64 GiB");
  chunks_.reserve(chunk + 1);
  chunks_.push_back(static_cast<char*>(Forma::memoryNew(chunkBytes(chunk))));
  if (next_ != end_) give(next_, (end_ - next_) * unit);
  next_ = static_cast<std::uint32_t>(chunk << unitBits);
  end_ = next_ + static_cast<std::uint32_t>(chunkBytes(chunk) / unit);
}

}  // namespace Centrum
