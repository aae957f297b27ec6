#include "platform/ringtrace/Draft.h"

#include <algorithm>
#include <bit>
#include <cstring>

#include "platform/ringtrace/OwnRing.h"
#include "platform/ringtrace/Stamp.h"

namespace RingTrace {

bool Draft::fits(std::size_t size) {
  cut_ = cut_ || size > payloadSize - length_;
  return !cut_;
}

void Draft::addText(std::string_view text) noexcept {
  constexpr std::size_t lead = 2;  // tag and length
  if (text.empty() || !fits(lead + 1)) return;
  const std::size_t size = std::min(text.size(), payloadSize - length_ - lead);
  static_assert(payloadSize - lead <= 255, "the length of a text has one byte");
  *end() = static_cast<char>(text_);
  *(end() + 1) = static_cast<char>(size);
  std::memcpy(end() + lead, text.data(), size);
  length_ += lead + size;
  cut_ = size < text.size();
}

void Draft::addCString(const char* text) noexcept { addText(text != nullptr ? text : "(null)"); }

void Draft::addNumber(PieceTag tag, std::uint64_t number) {
  if (!fits(1 + sizeof number)) return;
  *end() = static_cast<char>(tag);
  std::memcpy(end() + 1, &number, sizeof number);
  length_ += 1 + sizeof number;
}

void Draft::addUnsigned(std::uint64_t number) noexcept { addNumber(unsigned_, number); }

void Draft::addSigned(std::int64_t number) noexcept {
  addNumber(signed_, std::bit_cast<std::uint64_t>(number));
}

void Draft::addBool(bool value) noexcept {
  if (!fits(1)) return;
  *end() = static_cast<char>(value ? true_ : false_);
  ++length_;
}

void Draft::stamp() {
  words_[timeAt] = clockNs(CLOCK_MONOTONIC);
  words_[metaAt] = metaOf(length_, cut_, threadNumber());
  // The last word in use is copied and summed up as a whole.
  std::memset(end(), 0,
              (sizeof(std::uint64_t) - length_ % sizeof(std::uint64_t)) % sizeof(std::uint64_t));
}

void Draft::commit() noexcept {
  stamp();
  const Ring* ring = ownRing.ring.load(std::memory_order_acquire);
  // A slot refuses while a writer that is a whole turn behind is still in it; in a signal handler
  // that writer may be the interrupted code itself. The sequence that goes unused is seen as a gap.
  constexpr int mostAttempts = 8;
  for (int attempt = 0; attempt < mostAttempts; ++attempt) {
    words_[stateAt] = stateWhole(ownRing.nextSequence.fetch_add(1, std::memory_order_relaxed));
    words_[checksumAt] = checksumOf(words_);
    if (ring->write(words_)) break;
  }
  // seq_cst: pairs with the store in fileIs(). Either the copying there has seen this message, or
  // the new ring is seen here; when both, its slot refuses the second copy.
  for (const Ring* now; (now = ownRing.ring.load(std::memory_order_seq_cst)) != ring; ring = now)
    now->write(words_);
}

}  // namespace RingTrace
