/// What a number allocator is told by its owner.
#pragma once

#include <cstdint>

#include "platform/forma/Declare.h"
#include "platform/forma/Entity.h"
#include "platform/kiln/Range.h"

namespace Kiln {

/// The numbers that an allocator hands out and how long they rest in between. Allocators react to
/// changes at once.
class MPLS_EXPORT NumAllocatorConfig : public Forma::Entity {
  FORMA_ENTITY(Kiln::NumAllocatorConfig, Forma::Entity, range, expiryTime)
  FORMA_ATTRIBUTE(Range, range, onRange)
  /// Seconds during which a released number is not handed out again; none when 0 or less, for ever
  /// when infinite or not a number. A change holds for numbers that were released before it, too.
  FORMA_ATTRIBUTE(double, expiryTime, onExpiryTime)
  /// Numbers whose expiry has passed become free that many at a time, or all that wait when those
  /// are fewer: a larger count wakes those who wait for a number less often. 1, or 0, makes each
  /// number free at its own time.
  FORMA_FIXED(std::uint32_t, moveCount)
  FORMA_ARGUMENTS(range, moveCount)

 public:
  class NotifieeConst : public Forma::NotifieeOf<NumAllocatorConfig> {
   public:
    virtual void onRange() {}
    virtual void onExpiryTime() {}
  };
  using Notifiee = Forma::NotifieeMutable<NumAllocatorConfig, NotifieeConst>;

  NumAllocatorConfig(Range range, std::uint32_t moveCount) : moveCount_(moveCount) {
    rangeIs(range);
  }
  ~NumAllocatorConfig() override;
};

FORMA_FACTORY(numAllocatorConfigFactory, NumAllocatorConfig, Range, std::uint32_t)

}  // namespace Kiln
