/// Memory for arrays that grow: from the heap while they are small, straight from the kernel, in
/// huge pages where it has them, when they are large. A large array grows without being copied.
///
/// Thread    any.
/// Errors    std::bad_alloc; what was there before is then unchanged.
#pragma once

#include <cstddef>

#include "platform/Export.h"

namespace Forma {

/// Arrays of this many bytes or more start at a cache line, smaller ones at a multiple of 16.
inline constexpr std::size_t alignedMemory = 256;

/// `bytes` bytes, not initialised.
MPLS_EXPORT void* memoryNew(std::size_t bytes);
/// `bytes` bytes, all zero.
MPLS_EXPORT void* memoryNewZeroed(std::size_t bytes);
/// Makes memory of `from` bytes one of `to` bytes, more than before, and keeps the content.
MPLS_EXPORT void* memoryGrow(void* memory, std::size_t from, std::size_t to);
/// Gives memory of `bytes` bytes back.
MPLS_EXPORT void memoryDel(void* memory, std::size_t bytes) noexcept;

}  // namespace Forma
