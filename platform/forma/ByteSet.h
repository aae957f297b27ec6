/// A set of byte strings that remembers the order in which they came.
///
/// Thread    one.
/// Cost      a hash lookup for each insertion; no allocation once the set has been as large before.
/// Memory    the bytes, and 20 bytes for each; what a burst took is given back by clear().
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "platform/Export.h"

namespace Forma {

class MPLS_EXPORT ByteSet {
 public:
  /// Adds bytes; false when they are there.
  bool insert(std::string_view bytes);
  bool contains(std::string_view bytes) const;
  std::size_t size() const { return entries_.size(); }
  bool empty() const { return entries_.empty(); }
  /// The bytes that came as number `i`; valid until the next insertion.
  std::string_view operator[](std::size_t i) const {
    return std::string_view(bytes_).substr(entries_[i].at, entries_[i].size);
  }
  /// Empties the set; keeps the memory unless it is more than a burst's (a megabyte).
  void clear();
  void swap(ByteSet& other) noexcept;

 private:
  struct Entry {
    std::size_t at;
    std::uint32_t size;
    std::uint32_t hash;
  };
  static constexpr std::uint32_t none = 0;  // places hold the entry's number plus one

  std::size_t placeOf(std::string_view bytes, std::uint32_t hash) const;
  void grow();

  std::string bytes_;
  std::vector<Entry> entries_;
  std::vector<std::uint32_t> places_;  // a power of two, at most half full
};

}  // namespace Forma
