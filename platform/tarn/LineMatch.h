/// Looking at the 8 words of a cache line at once.
///
/// Nothing here branches: which word of a line it is could not be foreseen, and a wrong guess would
/// keep the processor from going on to the next lookup while memory is on its way.
///
/// Thread    any. The words are loaded without an order, and each for itself; who acts on one loads
///           it again, with acquire.
#pragma once

#include <cstdint>

#include "platform/tarn/Format.h"

#if defined(__SSE2__)
#include <emmintrin.h>
#endif

// The vector loads below race with the stores of the writer in the eyes of ThreadSanitizer only: on
// these processors an aligned vector load loads each word of 8 bytes as a whole.
#define TARN_LOADS_LINES __attribute__((no_sanitize("thread"))) inline

namespace Tarn {

inline constexpr std::uint32_t lineWords = 8;

#if defined(__SSE2__)

/// The words `pair` times 2 and after it of a line.
TARN_LOADS_LINES __m128i pairOf(const SharedWord* line, unsigned pair) {
  return _mm_load_si128(reinterpret_cast<const __m128i*>(line) + pair);
}
/// The upper (or lower) halves of 4 words.
template <int which>
TARN_LOADS_LINES __m128i halvesOf(__m128i low, __m128i high) {
  return _mm_castps_si128(_mm_shuffle_ps(_mm_castsi128_ps(low), _mm_castsi128_ps(high), which));
}
inline constexpr int upperHalves = 0xdd, lowerHalves = 0x88;

TARN_LOADS_LINES unsigned maskOf(__m128i first, __m128i second) {
  return static_cast<unsigned>(_mm_movemask_ps(_mm_castsi128_ps(first))) |
         static_cast<unsigned>(_mm_movemask_ps(_mm_castsi128_ps(second))) << 4;
}

/// Which of the words have the tag of a hash: bit i is for word i.
TARN_LOADS_LINES unsigned taggedIn(const SharedWord* line, std::uint64_t hash) {
  constexpr int shift = tagShift - 32;
  const __m128i tag = _mm_set1_epi32(static_cast<int>(hash >> tagShift));
  const __m128i a = halvesOf<upperHalves>(pairOf(line, 0), pairOf(line, 1));
  const __m128i b = halvesOf<upperHalves>(pairOf(line, 2), pairOf(line, 3));
  return maskOf(_mm_cmpeq_epi32(_mm_srli_epi32(a, shift), tag),
                _mm_cmpeq_epi32(_mm_srli_epi32(b, shift), tag));
}

/// Which of the words equal `word`.
TARN_LOADS_LINES unsigned equalIn(const SharedWord* line, Word word) {
  const __m128i wanted = _mm_set1_epi64x(static_cast<long long>(word));
  const __m128i p = _mm_cmpeq_epi32(pairOf(line, 0), wanted);
  const __m128i q = _mm_cmpeq_epi32(pairOf(line, 1), wanted);
  const __m128i r = _mm_cmpeq_epi32(pairOf(line, 2), wanted);
  const __m128i s = _mm_cmpeq_epi32(pairOf(line, 3), wanted);
  return maskOf(_mm_and_si128(halvesOf<lowerHalves>(p, q), halvesOf<upperHalves>(p, q)),
                _mm_and_si128(halvesOf<lowerHalves>(r, s), halvesOf<upperHalves>(r, s)));
}

/// Which of the words are other than those of `copy`, which nobody else writes, at a multiple of 16
/// bytes.
TARN_LOADS_LINES unsigned otherIn(const SharedWord* line, const Word* copy) {
  const auto* const words = reinterpret_cast<const __m128i*>(copy);
  const __m128i p = _mm_cmpeq_epi32(pairOf(line, 0), _mm_load_si128(words));
  const __m128i q = _mm_cmpeq_epi32(pairOf(line, 1), _mm_load_si128(words + 1));
  const __m128i r = _mm_cmpeq_epi32(pairOf(line, 2), _mm_load_si128(words + 2));
  const __m128i s = _mm_cmpeq_epi32(pairOf(line, 3), _mm_load_si128(words + 3));
  return 0xffU ^ maskOf(_mm_and_si128(halvesOf<lowerHalves>(p, q), halvesOf<upperHalves>(p, q)),
                        _mm_and_si128(halvesOf<lowerHalves>(r, s), halvesOf<upperHalves>(r, s)));
}

#else

inline unsigned taggedIn(const SharedWord* line, std::uint64_t hash) {
  unsigned tagged = 0;
  for (unsigned i = 0; i < lineWords; ++i)
    tagged |= static_cast<unsigned>(!tagsDiffer(line[i].load(std::memory_order_relaxed), hash))
              << i;
  return tagged;
}
inline unsigned equalIn(const SharedWord* line, Word word) {
  unsigned equal = 0;
  for (unsigned i = 0; i < lineWords; ++i)
    equal |= static_cast<unsigned>(line[i].load(std::memory_order_relaxed) == word) << i;
  return equal;
}
inline unsigned otherIn(const SharedWord* line, const Word* copy) {
  unsigned other = 0;
  for (unsigned i = 0; i < lineWords; ++i)
    other |= static_cast<unsigned>(line[i].load(std::memory_order_relaxed) != copy[i]) << i;
  return other;
}

#endif

}  // namespace Tarn
