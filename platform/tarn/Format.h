/// The bytes of a table in shared memory: what every process that attaches must agree on.
/// docs/tarn-format.md tells the same to those who write a reader of their own.
///
/// A table NAME lives in a directory as
///   NAME.head          one page: what the table is (HeadFixed) and how it stands (HeadState)
///   NAME.G.dirD        the directory of the index at depth D: 2^D entries
///   NAME.G.pagesK      chunk K of the index: pages of words, and their change counters
///   NAME.G.segN        segment N: records, written forward, never changed, never used again
/// where G is the generation, 16 hexadecimal digits. Numbers are little-endian.
///
/// Invariants (numbered, the code cites them)
///   1  A record never changes once a word names it; a segment number is never used twice within a
///      generation.
///   2  A key stands in at most one word of the page that the directory names for its hash.
///   3  Insert, update and delete of a row are each one release store of one word.
///   4  A page that the directory names holds, for its whole range of hashes, every live word; it
///      is filled before an entry names it, and is used again only after no entry does.
///   5  After a word changes its group counter, then the summary counter of the page, then
///      HeadState::changes change, each by a release store. After an entry of the directory changes
///      so does HeadState::structure, then `changes`.
///   6  A segment is unlinked only when no word of a page in use names it.
///   7  While HeadState::intent is set, finishing it again from the start does no harm.
///
/// Thread    any.
#pragma once

#include <atomic>
#include <bit>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <string>
#include <string_view>

#include "platform/Export.h"

namespace Tarn {

static_assert(std::endian::native == std::endian::little, "tables are little-endian");

/// Goes up with each change of what stands in this file.
inline constexpr std::uint32_t layoutVersion = 1;

using Word = std::uint64_t;
using SharedWord = std::atomic<Word>;
static_assert(sizeof(SharedWord) == 8 && SharedWord::is_always_lock_free);

/// Sizes that are chosen when a table is made and stand in its head; all are powers of two.
struct Geometry {
  std::uint32_t pageWords = 512;               ///< words in a page of the index: 8 to 4096
  std::uint32_t groupWords = 64;               ///< words that share a change counter; 8 to 64
  std::uint32_t firstSegmentBytes = 64 << 10;  ///< of the first segment: 4 KiB to 4 MiB
  std::uint32_t lastSegmentBytes = 4 << 20;    ///< of the largest; not below the first
  bool operator==(const Geometry&) const = default;
};

/// What a table holds. Two processes that name a table must agree on all of it but the geometry.
struct TableShape {
  std::string name;              ///< 1 to 63 letters, digits, '-' and '_'
  std::string schemaText;        ///< the row's fields, their types and places
  std::uint64_t schemaHash = 0;  ///< of that text
  std::uint32_t keyBytes = 0;    ///< the first bytes of each row are its key
  std::uint32_t rowBytes = 0;    ///< 0: rows vary in size
  std::uint32_t maxRowBytes = 0;
  Geometry geometry;  ///< for a table that is made anew
};

inline constexpr std::uint32_t maxRowLimit = 4096;  ///< bytes of a row, at most
inline constexpr std::uint32_t maxKeyLimit = 256;   ///< bytes of a key, at most

// ---- Words --------------------------------------------------------------------------------------
//
// A word is 0 (never used since the page was filled), `deletedWord`, or names a record: its tag,
// the first 25 bits of the key's hash; the segment's number (20 bits); the place in it in steps of
// 8 bytes (19 bits). Segments begin with a header, so no record has the place of `deletedWord`.

inline constexpr unsigned placeBits = 19;
inline constexpr unsigned segmentBits = 20;
inline constexpr unsigned tagShift = placeBits + segmentBits;
inline constexpr unsigned tagBits = 64 - tagShift;
inline constexpr std::uint32_t segmentLimit = 1U << segmentBits;
inline constexpr std::uint32_t placeStep = 8;
inline constexpr Word deletedWord = 1;
inline constexpr std::uint32_t segmentHeaderBytes = 64;
static_assert((std::uint64_t{1} << placeBits) * placeStep == 4U << 20);

constexpr std::uint32_t segmentOf(Word w) {
  return static_cast<std::uint32_t>(w >> placeBits) & (segmentLimit - 1);
}
/// In bytes from the segment's start.
constexpr std::uint32_t offsetOf(Word w) {
  return static_cast<std::uint32_t>(w & ((Word{1} << placeBits) - 1)) * placeStep;
}
constexpr Word wordOf(std::uint64_t hash, std::uint32_t segment, std::uint32_t offset) {
  return (hash >> tagShift << tagShift) | (Word{segment} << placeBits) | (offset / placeStep);
}
constexpr bool tagsDiffer(Word w, std::uint64_t hash) { return ((w ^ hash) >> tagShift) != 0; }
/// Whether a word names a record (which may still be none: readers check).
constexpr bool namesRecord(Word w) { return offsetOf(w) >= segmentHeaderBytes; }

// ---- Directory ----------------------------------------------------------------------------------
//
// At depth D the entry of a hash is its first D bits. An entry names a page, the number of leading
// bits that all hashes of the page have in common (its own depth, at most D: 2^(D - own) entries
// name the same page), and a version that changes whenever the entry does.

inline constexpr unsigned pageNumberBits = 28;
inline constexpr unsigned ownDepthBits = 6;
inline constexpr unsigned maxDepth = 26;

constexpr std::uint32_t pageOf(Word entry) {
  return static_cast<std::uint32_t>(entry & ((1U << pageNumberBits) - 1));
}
constexpr unsigned ownDepthOf(Word entry) {
  return static_cast<unsigned>(entry >> pageNumberBits) & ((1U << ownDepthBits) - 1);
}
constexpr Word entryOf(std::uint32_t page, unsigned ownDepth, std::uint64_t version) {
  return page | Word{ownDepth} << pageNumberBits | version << (pageNumberBits + ownDepthBits);
}
/// The first `depth` bits of a hash.
constexpr std::uint64_t prefixOf(std::uint64_t hash, unsigned depth) {
  return hash >> 1 >> (63 - depth);
}
/// Where the search for a hash begins in a page: the first place of a line of 8 words, which the
/// bits name that follow those of the page's depth. All of that line is looked at, then the lines
/// after it, round the page, up to one with a word that is 0. `pageShift` is 64 less the number of
/// bits in which a place of the page is counted. For a word in place of its hash this is right,
/// too, as long as depth and those bits lie within the tag.
constexpr std::uint32_t lineOf(std::uint64_t hash, unsigned ownDepth, unsigned pageShift) {
  return static_cast<std::uint32_t>((hash << ownDepth) >> pageShift) & ~7U;
}
// ---- Pages, in chunks ---------------------------------------------------------------------------
//
// Chunk 0 holds page 0, chunk K > 0 the pages 2^(K-1) to 2^K - 1: first their words, then a counter
// for each group of words, page by page, then a summary counter for each 64 pages.

inline constexpr unsigned chunkLimit = pageNumberBits;
inline constexpr std::uint32_t summaryPages = 64;

constexpr unsigned chunkOf(std::uint32_t page) {
  return static_cast<unsigned>(std::bit_width(page));
}
constexpr std::uint32_t firstPageOf(unsigned chunk) { return chunk == 0 ? 0 : 1U << (chunk - 1); }
constexpr std::uint32_t pagesIn(unsigned chunk) { return chunk == 0 ? 1 : 1U << (chunk - 1); }

/// Where the parts of a chunk stand, in words.
struct ChunkLayout {
  std::size_t counters = 0;
  std::size_t summaries = 0;
  std::size_t words = 0;  ///< in all
};
constexpr ChunkLayout chunkLayout(const Geometry& geometry, unsigned chunk) {
  const std::size_t pages = pagesIn(chunk);
  ChunkLayout layout;
  layout.counters = pages * geometry.pageWords;
  const std::size_t groups = pages * (geometry.pageWords / geometry.groupWords);
  layout.summaries = layout.counters + (groups + 7) / 8 * 8;
  layout.words = layout.summaries + ((pages + summaryPages - 1) / summaryPages + 7) / 8 * 8;
  return layout;
}

// ---- Head ---------------------------------------------------------------------------------------

inline constexpr std::size_t headBytes = 4096;
inline constexpr std::size_t headStateAt = 3072;
inline constexpr std::size_t schemaTextLimit = 2560;
inline constexpr char headMagic[8] = {'T', 'A', 'R', 'N', 'H', 'E', 'A', 'D'};

/// What the table is: written once, before the head is there under its name.
struct HeadFixed {
  char magic[8];
  std::uint32_t layout;
  std::uint32_t check;  ///< checkFixed()
  std::uint64_t schemaHash;
  std::uint64_t seed;  ///< of the hash and of the checksums; random
  std::uint64_t generation;
  std::uint32_t keyBytes;
  std::uint32_t rowBytes;  ///< 0: rows vary in size
  std::uint32_t maxRowBytes;
  Geometry geometry;
  std::uint32_t schemaTextBytes;
  char name[64];
  char schemaText[schemaTextLimit];  ///< cut when it is longer
};
static_assert(sizeof(HeadFixed) <= headStateAt && sizeof(HeadFixed) % placeStep == 0);

/// How the table stands. Written by the writer alone; the first line by structural changes only.
struct HeadState {
  alignas(64) SharedWord directory;  ///< depth of the directory in use
  SharedWord structure;              ///< counts changes of entries
  SharedWord retired;                ///< not 0: a head of another generation took the place
  SharedWord epoch;                  ///< how many writers have attached
  SharedWord segmentsRemoved;        ///< counts segments that were unlinked

  alignas(64) SharedWord changes;  ///< counts changes of words and entries
  SharedWord rows;
  SharedWord liveBytes;      ///< of records that words name
  SharedWord segmentsBytes;  ///< of all segments that are there
  SharedWord indexBytes;     ///< of directory and chunks
  SharedWord nextSegment;    ///< numbers from here on were never used
  SharedWord sequenceLimit;  ///< sequences from here on were never used

  alignas(64) SharedWord writerPid;  ///< 0: the last one detached in order
  SharedWord writerSince;            ///< CLOCK_BOOTTIME in nanoseconds
  SharedWord writerSeen;             ///< the same: when it last wrote, or said that it is there

  alignas(64) SharedWord intent;  ///< 0, or 1 while entries are switched to the pages below
  SharedWord intentFirst;         ///< the first entry
  SharedWord intentCount;         ///< how many, in the directory in use
  SharedWord intentLow;           ///< the page of the first half (of all, if there is one page)
  SharedWord intentHigh;          ///< the page of the second half; ~0: there is one page
  SharedWord intentDepth;         ///< own depth of the new pages
};
static_assert(headStateAt + sizeof(HeadState) <= headBytes);

/// The checksum of all bytes of HeadFixed but that of `check` itself.
MPLS_EXPORT std::uint32_t checkFixed(const HeadFixed& fixed);
/// Why a head cannot be used by this build for such a table; empty when it can. `bytes` is what was
/// read of the file: any.
MPLS_EXPORT std::string headProblem(std::string_view bytes, const TableShape& shape);
/// What is wrong with a shape; empty when nothing is.
MPLS_EXPORT std::string shapeProblem(const TableShape& shape);

MPLS_EXPORT std::string headName(std::string_view table);
MPLS_EXPORT std::string directoryName(std::string_view table, std::uint64_t generation,
                                      unsigned depth);
MPLS_EXPORT std::string chunkName(std::string_view table, std::uint64_t generation, unsigned chunk);
MPLS_EXPORT std::string segmentName(std::string_view table, std::uint64_t generation,
                                    std::uint32_t segment);

// ---- Records ------------------------------------------------------------------------------------

/// Stands before a row in a segment; records begin at multiples of 8 bytes, and zeros fill the last
/// step of 8 that a row begins.
struct RecordHeader {
  std::uint32_t bytes;     ///< of the row that follows; its first bytes are the key
  std::uint32_t check;     ///< checkRecord()
  std::uint64_t sequence;  ///< the number of the write; a record that is moved keeps it
};
static_assert(sizeof(RecordHeader) == 16);

/// Bytes that a row takes in a segment.
constexpr std::uint32_t recordBytes(std::uint32_t rowBytes) {
  return (static_cast<std::uint32_t>(sizeof(RecordHeader)) + rowBytes + placeStep - 1) &
         ~(placeStep - 1);
}

inline constexpr char segmentMagic[8] = {'T', 'A', 'R', 'N', 'S', 'E', 'G', 'M'};
struct SegmentHeader {
  char magic[8];
  std::uint64_t generation;
  std::uint64_t number;
};
static_assert(sizeof(SegmentHeader) <= segmentHeaderBytes);

// ---- Hash and checksum --------------------------------------------------------------------------

constexpr std::uint64_t fold(std::uint64_t a, std::uint64_t b) {
  __extension__ using Wide = unsigned __int128;
  const Wide product = static_cast<Wide>(a) * b;
  return static_cast<std::uint64_t>(product) ^ static_cast<std::uint64_t>(product >> 64);
}
inline std::uint64_t load64(const std::byte* at) {
  std::uint64_t v;
  std::memcpy(&v, at, sizeof v);
  return v;
}
inline std::uint64_t load32(const std::byte* at) {
  std::uint32_t v;
  std::memcpy(&v, at, sizeof v);
  return v;
}
/// The `count` bytes (0 to 8) at `at`, zeros above; reads no others.
inline std::uint64_t loadTail(const std::byte* at, std::size_t count) {
  if (count == 8) return load64(at);
  if (count >= 4) return load32(at) | (load32(at + count - 4) >> ((8 - count) * 8)) << 32;
  std::uint64_t v = 0;
  for (std::size_t i = 0; i < count; ++i) v |= std::to_integer<std::uint64_t>(at[i]) << (8 * i);
  return v;
}

/// The hash of a run of bytes under a seed. `size` is best known when compiled. Who does not know
/// the seed cannot make keys collide.
inline std::uint64_t hashBytes(std::uint64_t seed, const std::byte* at, std::size_t size) {
  const std::uint64_t other = seed * 0x9e3779b97f4a7c15U | 1U;
  std::uint64_t h = seed ^ (size * 0xd6e8feb86659fd93U);
  for (; size > 16; at += 16, size -= 16) h = fold(h ^ load64(at), load64(at + 8) ^ other);
  const std::uint64_t low = size >= 8 ? load64(at) : loadTail(at, size);
  const std::uint64_t high = size > 8 ? loadTail(at + 8, size - 8) : 0;
  h = fold(h ^ low, high ^ other);
  return fold(h ^ 0xa0761d6478bd642fU, 0xe7037ed1a0b428dbU ^ other);
}

inline constexpr std::uint64_t checkKeys[] = {0x8ebc6af09c88c6e3U, 0x589965cc75374cc3U,
                                              0x1d8e4e27c47d124fU, 0xeb44accab455d165U};

/// The part of checkRecord() that takes all steps of 64 bytes with which more than 64 begin.
MPLS_EXPORT std::uint64_t checkLongRecord(std::uint64_t h, const std::byte* row,
                                          std::uint32_t steps);

/// The checksum of a row, taken with the zeros that fill its last step of 8 bytes: four lanes over
/// steps of 64 bytes while there are more, then steps of 16.
inline std::uint32_t checkRecord(std::uint64_t seed, std::uint64_t sequence, const std::byte* row,
                                 std::uint32_t bytes) {
  std::uint64_t h = (seed ^ bytes) + sequence * checkKeys[0];
  std::uint32_t left = (bytes + placeStep - 1) & ~(placeStep - 1);
  if (left > 64) [[unlikely]] {
    const std::uint32_t steps = (left - 1) / 64;
    h = checkLongRecord(h, row, steps);
    row += std::size_t{steps} * 64;
    left -= steps * 64;
  }
  // Written out: where the size is known nothing but multiplications is left.
  const auto step = [&](std::uint32_t at) {
    h = fold(h ^ load64(row + at), load64(row + at + 8) ^ checkKeys[1]);
  };
  if (left >= 16) step(0);
  if (left >= 32) step(16);
  if (left >= 48) step(32);
  if (left == 64) step(48);
  if (left % 16 != 0) h = fold(h ^ load64(row + left - 8), checkKeys[2]);
  return static_cast<std::uint32_t>(h ^ h >> 32);
}

}  // namespace Tarn
