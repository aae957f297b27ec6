/// Indexes for segment routing tunnels.
#pragma once

#include <cstdint>

#include "platform/forma/Declare.h"

namespace MplsHelper {

/// Counts: the first index is 1.
///
/// Thread    that of the entity.
/// Restart   holds nothing beyond its process; call setIdx() with the highest index in use.
class MPLS_EXPORT SrTunnelIdxAllocator : public Forma::Entity {
  FORMA_ENTITY(MplsHelper::SrTunnelIdxAllocator, Forma::Entity, tunnelIdx)
  /// The index that was handed out last.
  FORMA_ATTRIBUTE(std::uint64_t, tunnelIdx, onTunnelIdx)

 public:
  class NotifieeConst : public Forma::NotifieeOf<SrTunnelIdxAllocator> {
   public:
    virtual void onTunnelIdx() {}
  };
  using Notifiee = Forma::NotifieeMutable<SrTunnelIdxAllocator, NotifieeConst>;

  ~SrTunnelIdxAllocator() override;

  std::uint64_t getIdx() { return tunnelIdxInc(1); }
  /// The next index is the one behind `value`.
  void setIdx(std::uint64_t value) { tunnelIdxIs(value); }
  /// Goes on by `delta`; the index it came to.
  std::uint64_t tunnelIdxInc(std::uint64_t delta);
};

FORMA_FACTORY(srTunnelIdxAllocatorFactory, SrTunnelIdxAllocator)

}  // namespace MplsHelper
