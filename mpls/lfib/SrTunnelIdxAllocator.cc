#include "mpls/lfib/SrTunnelIdxAllocator.h"

#include "platform/forma/Trace.h"

namespace MplsHelper {

namespace {

Forma::TraceHandle trace("SrTunnelIdxAllocator");

}  // namespace

FORMA_DEFINE_ENTITY(SrTunnelIdxAllocator)

SrTunnelIdxAllocator::~SrTunnelIdxAllocator() = default;

std::uint64_t SrTunnelIdxAllocator::tunnelIdxInc(std::uint64_t delta) {
  const std::uint64_t next = tunnelIdx() + delta;
  tunnelIdxIs(next);
  FORMA_TRACE(trace, 8, "tunnelIdxInc", " next idx: ", next);
  return next;
}

}  // namespace MplsHelper
