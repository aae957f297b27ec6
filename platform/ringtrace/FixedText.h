/// A text that grows inside itself, for code that may not allocate, such as a signal handler.
#pragma once

#include <algorithm>
#include <array>
#include <charconv>
#include <concepts>
#include <cstddef>
#include <string_view>

namespace RingTrace {

/// What does not fit into `Capacity` bytes is left out.
template <std::size_t Capacity>
class FixedText {
 public:
  std::string_view view() const { return {bytes_.data(), size_}; }

  void append(std::string_view text) {
    const std::size_t size = std::min(text.size(), Capacity - size_);
    std::copy_n(text.data(), size, bytes_.data() + size_);
    size_ += size;
  }
  /// In decimal, filled up with zeros on the left to `width` digits.
  template <std::integral I>
  void appendNumber(I number, std::size_t width = 1) {
    std::array<char, 20> digits;  // as many as the longest 64-bit number, with its sign, takes
    const char* end = std::to_chars(digits.data(), digits.data() + digits.size(), number).ptr;
    const auto count = static_cast<std::size_t>(end - digits.data());
    for (std::size_t i = count; i < width; ++i) append("0");
    append({digits.data(), count});
  }

 private:
  std::array<char, Capacity> bytes_;
  std::size_t size_ = 0;
};

}  // namespace RingTrace
