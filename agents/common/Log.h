/// Plain lines on the standard error output. A log that nobody reads, or that cannot be written,
/// never stops nor fails the program: what does not fit is dropped, and the next line that does fit
/// tells how many were.
///
/// Thread    one.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

namespace Agents {

class Log {
 public:
  /// `name` is that of the program.
  explicit Log(std::string name) : name_(std::move(name)) {}

  /// "name: text".
  void say(std::string_view text) { line(name_ + ": " + std::string(text)); }
  /// The text as it is. Bytes that are not printable ASCII are escaped.
  void line(std::string_view text);

 private:
  bool write(std::string_view text);

  std::string name_;
  std::uint64_t dropped_ = 0;
};

}  // namespace Agents
