/// What a number allocator tells those who wait for its numbers.
#pragma once

#include "platform/forma/Declare.h"
#include "platform/forma/Entity.h"

namespace Kiln {

/// Written by one NumAllocator at a time; the next one sets it afresh.
class MPLS_EXPORT NumAllocatorStatus : public Forma::Entity {
  FORMA_ENTITY(Kiln::NumAllocatorStatus, Forma::Entity, rangeExhausted)
  /// True while there is no number to hand out: all are reserved or still in their expiry, or the
  /// range is empty.
  FORMA_ATTRIBUTE(bool, rangeExhausted, onRangeExhausted)

 public:
  class NotifieeConst : public Forma::NotifieeOf<NumAllocatorStatus> {
   public:
    /// May change the allocator and its config in any way, and may destroy the allocator.
    virtual void onRangeExhausted() {}
  };
  using Notifiee = Forma::NotifieeMutable<NumAllocatorStatus, NotifieeConst>;

  NumAllocatorStatus() = default;
  ~NumAllocatorStatus() override;
};

FORMA_FACTORY(numAllocatorStatusFactory, NumAllocatorStatus)

}  // namespace Kiln
