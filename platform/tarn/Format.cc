#include "platform/tarn/Format.h"

#include <algorithm>
#include <cstdio>
#include <vector>

namespace Tarn {

namespace {

constexpr std::uint64_t headCheckSeed = 0x5441524e48454144U;

bool isPowerOfTwoWithin(std::uint32_t v, std::uint32_t low, std::uint32_t high) {
  return std::has_single_bit(v) && low <= v && v <= high;
}

std::string geometryProblem(const Geometry& g) {
  constexpr std::uint32_t most = 4U << 20;
  if (!isPowerOfTwoWithin(g.pageWords, 8, 4096)) return "pageWords not a power of two in 8..4096";
  if (!isPowerOfTwoWithin(g.groupWords, 8, std::min(g.pageWords, 64U)))
    return "groupWords not a power of two in 8..64 and at most pageWords";
  if (!isPowerOfTwoWithin(g.firstSegmentBytes, 4096, most) ||
      !isPowerOfTwoWithin(g.lastSegmentBytes, g.firstSegmentBytes, most))
    return "segment sizes not powers of two in 4096..4194304, or falling";
  return {};
}

bool isTableName(std::string_view name) {
  const auto allowed = [](char c) {
    return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') || c == '-' ||
           c == '_';
  };
  return !name.empty() && name.size() < sizeof HeadFixed::name &&
         std::ranges::all_of(name, allowed);
}

std::string sizesProblem(std::uint32_t keyBytes, std::uint32_t rowBytes,
                         std::uint32_t maxRowBytes) {
  if (keyBytes == 0 || keyBytes > maxKeyLimit)
    return "keys of " + std::to_string(keyBytes) + " bytes, allowed are 1 to " +
           std::to_string(maxKeyLimit);
  if (maxRowBytes < keyBytes || maxRowBytes > maxRowLimit)
    return "rows of up to " + std::to_string(maxRowBytes) + " bytes, allowed are " +
           std::to_string(keyBytes) + " (their key) to " + std::to_string(maxRowLimit);
  if (rowBytes != 0 && rowBytes != maxRowBytes) return "rows of one size that is not the largest";
  return {};
}

std::string hex(std::uint64_t v) {
  char text[17];
  std::snprintf(text, sizeof text, "%016llx", static_cast<unsigned long long>(v));
  return text;
}

std::string fileName(std::string_view table, std::uint64_t generation, std::string_view kind,
                     std::uint32_t number) {
  std::string name(table);
  name.append(".").append(hex(generation)).append(".").append(kind);
  return name.append(std::to_string(number));
}

/// Whether the head tells of such a table; the bytes are as they were written.
std::string differenceFrom(const HeadFixed& fixed, const TableShape& shape) {
  if (fixed.schemaHash != shape.schemaHash)
    return "other rows: schema " + hex(fixed.schemaHash) + ", need " + hex(shape.schemaHash);
  if (fixed.keyBytes != shape.keyBytes || fixed.rowBytes != shape.rowBytes ||
      fixed.maxRowBytes != shape.maxRowBytes)
    return "rows of another size under the same schema hash";
  if (std::string problem = geometryProblem(fixed.geometry); !problem.empty()) return problem;
  return sizesProblem(fixed.keyBytes, fixed.rowBytes, fixed.maxRowBytes);
}

}  // namespace

std::uint64_t checkLongRecord(std::uint64_t h, const std::byte* row, std::uint32_t steps) {
  const auto& k = checkKeys;
  std::uint64_t a = h, b = h ^ k[1], c = h ^ k[2], d = h ^ k[3];
  for (; steps != 0; row += 64, --steps) {
    a = fold(a ^ load64(row), load64(row + 8) ^ k[0]);
    b = fold(b ^ load64(row + 16), load64(row + 24) ^ k[1]);
    c = fold(c ^ load64(row + 32), load64(row + 40) ^ k[2]);
    d = fold(d ^ load64(row + 48), load64(row + 56) ^ k[3]);
  }
  return fold(a ^ c, b ^ d ^ k[0]) ^ (a + b + c + d);
}

std::uint32_t checkFixed(const HeadFixed& fixed) {
  HeadFixed copy;
  std::memcpy(&copy, &fixed, sizeof copy);
  copy.check = 0;
  return checkRecord(headCheckSeed, 0, reinterpret_cast<const std::byte*>(&copy), sizeof copy);
}

std::string headProblem(std::string_view bytes, const TableShape& shape) {
  if (bytes.size() < headBytes)
    return "the head is cut short: " + std::to_string(bytes.size()) + " of " +
           std::to_string(headBytes) + " bytes";
  HeadFixed fixed;
  std::memcpy(&fixed, bytes.data(), sizeof fixed);
  if (std::memcmp(fixed.magic, headMagic, sizeof headMagic) != 0) return "the head is none";
  if (fixed.layout != layoutVersion)
    return "layout " + std::to_string(fixed.layout) + ", need " + std::to_string(layoutVersion);
  if (fixed.check != checkFixed(fixed)) return "the head is damaged: its checksum is wrong";
  return differenceFrom(fixed, shape);
}

std::string shapeProblem(const TableShape& shape) {
  if (!isTableName(shape.name))
    return "table name \"" + shape.name + "\": 1 to 63 letters, digits, '-' and '_' are allowed";
  std::string problem = sizesProblem(shape.keyBytes, shape.rowBytes, shape.maxRowBytes);
  if (problem.empty()) problem = geometryProblem(shape.geometry);
  return problem.empty() ? problem : "table " + shape.name + ": " + problem;
}

std::string headName(std::string_view table) { return std::string(table) + ".head"; }

std::string directoryName(std::string_view table, std::uint64_t generation, unsigned depth) {
  return fileName(table, generation, "dir", depth);
}
std::string chunkName(std::string_view table, std::uint64_t generation, unsigned chunk) {
  return fileName(table, generation, "pages", chunk);
}
std::string segmentName(std::string_view table, std::uint64_t generation, std::uint32_t segment) {
  return fileName(table, generation, "seg", segment);
}

}  // namespace Tarn
