#include "mpls/lfib/LfibGenAdjIdxAllocator.h"

#include <array>
#include <charconv>
#include <string_view>

#include "platform/forma/Trace.h"

namespace MplsHelper {

namespace {

Forma::TraceHandle trace("LfibGenAdjIdxAllocator");

constexpr unsigned counterBits = 60;
constexpr std::uint64_t counterMask = (std::uint64_t{1} << counterBits) - 1;

std::string hex(std::uint64_t number) {
  std::array<char, 16> digits;
  return {digits.data(), std::to_chars(digits.begin(), digits.end(), number, 16).ptr};
}

}  // namespace

FORMA_DEFINE_ENTITY(LfibGenAdjIdxAllocator)

LfibGenAdjIdxAllocator::~LfibGenAdjIdxAllocator() = default;

std::uint64_t LfibGenAdjIdxAllocator::getAdjacencyIndex(Mpls::LFib::Source source) {
  const std::uint64_t owner = std::uint64_t{source} << counterBits;
  std::uint64_t index = owner | (adjIndex(source) & counterMask);
  for (; isUsed(source, index); index = owner | ((index + 1) & counterMask))
    FORMA_TRACE(trace, 8, "getAdjacencyIndex", " index already used ", index);
  useAdjacencyIndex(source, index);
  FORMA_TRACE(trace, 8, "getAdjacencyIndex", " allocate adj index 0x", hex(index));
  return index;
}

void LfibGenAdjIdxAllocator::useAdjacencyIndex(Mpls::LFib::Source source, std::uint64_t index) {
  adjIndexIs(source, (index + 1) & counterMask);
  FORMA_TRACE(trace, 8, "useAdjacencyIndex", " source: ", source, ", use idx: ", index);
}

bool LfibGenAdjIdxAllocator::isUsed(Mpls::LFib::Source source, std::uint64_t index) const {
  return status_->lfibAdjacencyFind(index) || status_->lfibExtFecAdjacencyFind(index) ||
         (source == Mpls::LFib::lfibSourcePseudowire_ && status_->lfibPwAdjacencyFind(index));
}

}  // namespace MplsHelper
