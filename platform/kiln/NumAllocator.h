/// Hands out numbers that are not in use, and lets those that come back rest for a while.
#pragma once

#include <cstdint>
#include <list>
#include <map>
#include <utility>

#include "platform/Export.h"
#include "platform/forma/Ptr.h"
#include "platform/kiln/NumAllocatorConfig.h"
#include "platform/kiln/NumAllocatorStatus.h"
#include "platform/kiln/RangeSet.h"
#include "platform/kiln/TimerWheel.h"

namespace Kiln {

/// An allocator of the numbers of a range, which may change at any time.
///
/// A number of the range is untouched, reserved, or released. A released one waits until the
/// expiry time has passed since its release, then it is free.
///
/// Policy    untouched numbers first, in ascending order; then the free one that was released
///           longest ago. So a number rests for as long as there are others.
/// Range     a number that leaves the range is forgotten, reservation and expiry included: it is
///           untouched when it comes back.
/// Status    `rangeExhausted` is kept in step with every call, every change of the config, and
///           with time: when an expiry makes a number free the timer wheel says so, with no other
///           event.
/// Callbacks whatever the observers of `rangeExhausted` do, to the allocator and its config, is
///           safe; destroying the allocator is, too. Each call is complete before they are told.
/// Errors    what an observer raises reaches who made the call, but for getNumber(): its caller
///           gets the number, and the loop that runs the timers gets the exception.
/// Thread    that of the timer wheel.
/// Restart   holds nothing beyond its process; call reserveNumber() for each number in use.
/// Cost      O(log n) a call, n being the numbers ever handed out or reserved, whatever the size of
///           the range; moveCount steps while a batch waits. A shrinking range costs that for each
///           number that it forgets. No timer runs unless the range is exhausted and numbers wait.
class MPLS_EXPORT NumAllocator : public Forma::PtrInterface {
 public:
  static constexpr std::int64_t noNumber = -1;

  /// All numbers of the range are untouched; sets `rangeExhausted`. The wheel, whose clock counts,
  /// must outlive the allocator. Raises NullException for null.
  NumAllocator(Forma::Ptr<NumAllocatorConfig const> config, Forma::Ptr<NumAllocatorStatus> status,
               TimerWheel& wheel);
  ~NumAllocator() override;

  /// Reserves a number and returns it; noNumber, which is negative, when the range is exhausted.
  std::int64_t getNumber();
  /// Whether `number` was handed out or reserved, and not released since.
  bool isReserved(std::uint32_t number) const;
  /// Reserves `number`, be it in its expiry or not; false when it is reserved already or outside
  /// the range.
  bool reserveNumber(std::uint32_t number);
  /// Ends a reservation and starts the expiry; false, and nothing happens, when there is none.
  bool releaseNumber(std::uint32_t number);

 private:
  struct Released {
    std::uint32_t number;
    double at;  // seconds
  };
  using Queue = std::list<Released>;
  /// Reserved numbers have no place in the queue: they stand at its end.
  using Touched = std::map<std::uint32_t, Queue::iterator>;

  class ConfigReactor final : public NumAllocatorConfig::NotifieeConst {
   public:
    explicit ConfigReactor(NumAllocator& allocator) : allocator_(allocator) {}
    void onRange() override { allocator_.handleConfig(); }
    void onExpiryTime() override { allocator_.handleConfig(); }

   private:
    NumAllocator& allocator_;
  };

  void handleConfig();
  void handleExpiry() { publish(); }
  void readConfig();
  void applyRange(const Range& range);
  void forget(Touched::iterator touched);
  void dequeue(Queue::iterator released);
  bool reserve(std::uint32_t number);
  bool release(std::uint32_t number);
  void freeExpired();
  Queue::iterator endOfBatch();
  double expiryOf(const Released& released) const { return released.at + expiryTime_; }
  void scheduleExpiry(bool exhausted);
  void publish();

  const Forma::Ptr<NumAllocatorConfig const> config_;
  const Forma::Ptr<NumAllocatorStatus> status_;
  TimerWheel& wheel_;
  Range range_;            // as far as the config was followed
  double expiryTime_ = 0;  // likewise
  RangeSet untouched_;
  Touched touched_;  // reserved or released
  Queue released_;   // in the order of release: the free ones, then those that wait
  Queue::iterator firstWaiting_ = released_.end();
  Timer timer_;
  ConfigReactor configReactor_;
};

/// Makes an allocator; see its constructor.
inline Forma::Ptr<NumAllocator> numAllocatorFactory(Forma::Ptr<NumAllocatorConfig const> config,
                                                    Forma::Ptr<NumAllocatorStatus> status,
                                                    TimerWheel& wheel) {
  return new NumAllocator(std::move(config), std::move(status), wheel);
}

}  // namespace Kiln
