#include "platform/forma/Memory.h"

#include <sys/mman.h>

#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <new>

namespace Forma {
namespace {

constexpr std::size_t cacheLine = 64;
constexpr std::size_t hugePage = std::size_t{2} << 20;
/// Arrays of this size or more are mapped by themselves. Smaller ones would gain nothing from huge
/// pages, and fresh pages cost more than the heap's, which were touched before.
constexpr std::size_t largeMemory = 2 * hugePage;

std::size_t wholeLines(std::size_t bytes) {
  return (bytes + cacheLine - 1) / cacheLine * cacheLine;
}
std::size_t wholePages(std::size_t bytes) { return (bytes + hugePage - 1) / hugePage * hugePage; }

void* orThrow(void* memory) {
  if (memory == nullptr || memory == MAP_FAILED) throw std::bad_alloc();
  return memory;
}

/// Address space aligned to a huge page, so that the kernel can use one.
void* reserve(std::size_t bytes) {
  char* all = static_cast<char*>(
      orThrow(mmap(nullptr, bytes + hugePage, PROT_NONE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0)));
  const std::size_t ahead =
      (hugePage - reinterpret_cast<std::uintptr_t>(all) % hugePage) % hugePage;
  if (ahead != 0) munmap(all, ahead);
  munmap(all + ahead + bytes, hugePage - ahead);
  return all + ahead;
}

void* mapLarge(std::size_t bytes) {
  void* memory = reserve(bytes);
  if (mprotect(memory, bytes, PROT_READ | PROT_WRITE) != 0) {
    munmap(memory, bytes);
    throw std::bad_alloc();
  }
  madvise(memory, bytes, MADV_HUGEPAGE);  // advice: it works without
  return memory;
}

void* growLarge(void* memory, std::size_t from, std::size_t to) {
  if (from == to) return memory;
  void* place = reserve(to);
  void* moved = mremap(memory, from, to, MREMAP_MAYMOVE | MREMAP_FIXED, place);
  if (moved == MAP_FAILED) munmap(place, to);
  return orThrow(moved);
}

}  // namespace

void* memoryNew(std::size_t bytes) {
  if (bytes < alignedMemory) return orThrow(std::malloc(bytes));
  if (bytes < largeMemory) return orThrow(std::aligned_alloc(cacheLine, wholeLines(bytes)));
  return mapLarge(wholePages(bytes));
}

void* memoryNewZeroed(std::size_t bytes) {
  void* memory = memoryNew(bytes);
  if (bytes < largeMemory) std::memset(memory, 0, bytes);  // the kernel's is zero
  return memory;
}

void* memoryGrow(void* memory, std::size_t from, std::size_t to) {
  if (from >= largeMemory) return growLarge(memory, wholePages(from), wholePages(to));
  if (to < alignedMemory) return orThrow(std::realloc(memory, to));
  void* grown = memoryNew(to);
  std::memcpy(grown, memory, from);
  std::free(memory);
  return grown;
}

void memoryDel(void* memory, std::size_t bytes) noexcept {
  if (bytes < largeMemory) std::free(memory);
  else munmap(memory, wholePages(bytes));
}

}  // namespace Forma
