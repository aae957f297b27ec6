/// Text that many short pieces are appended to: who writes asks for room, and then writes by a
/// pointer. A std::string looks at its size for each byte, and makes a call to copy a word.
///
/// Thread    one.
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <memory>
#include <span>
#include <string_view>
#include <type_traits>

namespace MplsCtl {

/// Things one behind the other, in memory that is kept when they are cleared.
template <class T>
class Room {
  static_assert(std::is_trivially_copyable_v<T>);

 public:
  std::size_t size() const { return size_; }
  bool empty() const { return size_ == 0; }
  const T* data() const { return begin_.get(); }
  std::span<const T> all() const { return {begin_.get(), size_}; }
  T& back() { return begin_[size_ - 1]; }

  /// The place behind the last one, with room for `count`; valid until the next call.
  T* more(std::size_t count) {
    if (count > capacity_ - size_) [[unlikely]]
      grow(count);
    return begin_.get() + size_;
  }
  /// What was written there counts, up to `end`.
  void endIs(const T* end) { size_ = static_cast<std::size_t>(end - begin_.get()); }
  void add(const T& one) {
    *more(1) = one;
    ++size_;
  }
  void pop() { --size_; }
  void clear() { size_ = 0; }

 private:
  [[gnu::noinline]] void grow(std::size_t count) {
    capacity_ = std::max(2 * capacity_, size_ + count);
    auto later = std::make_unique_for_overwrite<T[]>(capacity_);
    std::copy_n(begin_.get(), size_, later.get());
    begin_ = std::move(later);
  }

  std::unique_ptr<T[]> begin_;
  std::size_t size_ = 0;
  std::size_t capacity_ = 0;
};

/// Copies a piece whose size is from `size` to twice that.
template <std::size_t size>
void putEnds(char* to, std::string_view text) {
  const std::size_t last = text.size() - size;
  std::memcpy(to, text.data(), size);
  std::memcpy(to + last, text.data() + last, size);
}

/// Copies a text, without a call when it is short; returns where it ends.
inline char* put(char* to, std::string_view text) {
  const std::size_t size = text.size();
  if (size > 32) std::memcpy(to, text.data(), size);
  else if (size >= 16) putEnds<16>(to, text);
  else if (size >= 8) putEnds<8>(to, text);
  else if (size >= 4) putEnds<4>(to, text);
  else if (size >= 2) putEnds<2>(to, text);
  else if (size == 1) *to = text.front();
  return to + size;
}

/// Whether eight bytes are, see isPlain(): each test sets the high bit of a byte that is not.
inline bool arePlain(std::uint64_t bytes) {
  constexpr std::uint64_t ones = 0x0101010101010101, highs = ones * 0x80;
  const std::uint64_t quote = bytes ^ (ones * '"'), backslash = bytes ^ (ones * '\\');
  const std::uint64_t low = (bytes - ones * ' ') & ~bytes;
  const std::uint64_t high = (bytes + ones) | bytes;
  const std::uint64_t escaped = ((quote - ones) & ~quote) | ((backslash - ones) & ~backslash);
  return ((low | high | escaped) & highs) == 0;
}

/// Whether all bytes are printable ASCII other than quote and backslash: then neither tables nor
/// JSON escape any.
inline bool isPlain(std::string_view text) {
  constexpr std::size_t step = sizeof(std::uint64_t);
  const auto arePlainAt = [](const char* at) {
    std::uint64_t bytes = 0;
    std::memcpy(&bytes, at, step);
    return arePlain(bytes);
  };
  if (text.size() < step) {
    char filled[step] = {' ', ' ', ' ', ' ', ' ', ' ', ' ', ' '};
    put(filled, text);
    return arePlainAt(filled);
  }
  for (std::size_t at = 0; at + step < text.size(); at += step)
    if (!arePlainAt(text.data() + at)) return false;
  return arePlainAt(text.data() + text.size() - step);
}

class Text : public Room<char> {
 public:
  std::string_view view() const { return {data(), size()}; }
  Text& operator+=(std::string_view text) {
    endIs(put(more(text.size()), text));
    return *this;
  }
  Text& operator+=(char c) {
    add(c);
    return *this;
  }
};

}  // namespace MplsCtl
