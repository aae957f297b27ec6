/// Lines on the standard error output. A log that nobody reads, or that cannot be written, never
/// stops nor fails the program: what does not fit is dropped, and the next line that does fit tells
/// how many were.
///
///   agent   info 2026-11-21T20:15:30.123Z mpls-agent: merged static routes routes=6 conflicts=2
///   tool    mplsctl: watching 6 routes, 2 conflicts
///
/// A text reads as a sentence; what a program may want of it follows as fields. Bytes that are not
/// printable ASCII are escaped.
///
/// Thread    one.
#pragma once

#include <concepts>
#include <cstdint>
#include <functional>
#include <initializer_list>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace Agents {

/// " KEY=VALUE" behind a text; a value that is no plain word stands in quotation marks.
struct LogField {
  LogField(std::string_view name, std::string text) : key(name), value(std::move(text)) {}
  LogField(std::string_view name, std::integral auto number)
      : key(name), value(std::to_string(number)) {}

  std::string_view key;  ///< lowerCamelCase; outlives the field
  std::string value;
};
using LogFields = std::vector<LogField>;

class Log {
 public:
  enum class Form {
    agent,  ///< level, time, name, text: for a file or a journal; and into the ring trace
    tool    ///< name, text: for who has called it
  };

  /// Takes lines in the place of the standard error output, to put them in a form of its own.
  using Sink =
      std::function<void(std::string_view level, std::string_view text, const LogFields& fields)>;

  /// `name` is that of the program; `sink` may be empty.
  explicit Log(std::string name, Form form = Form::tool, Sink sink = {})
      : name_(std::move(name)), form_(form), sink_(std::move(sink)) {}

  /// How things stand.
  void info(std::string_view text, const LogFields& fields = {}) { line("info", text, fields); }
  /// Something is not as it should be; the program goes on, and does what it still can.
  void warning(std::string_view text, const LogFields& fields = {}) { line("warn", text, fields); }
  /// The program ends of it, or cannot do what it is there for.
  void error(std::string_view text, const LogFields& fields = {}) { line("error", text, fields); }
  /// What a tool has to say.
  void say(std::string_view text) { info(text); }
  /// A line of a form of its own, such as JSON: nothing stands before it.
  void raw(std::string_view text) { put(std::string(text)); }

  Form form() const { return form_; }

 private:
  void line(std::string_view level, std::string_view text, const LogFields& fields);
  void put(const std::string& text);
  std::string head(std::string_view level) const;

  const std::string name_;
  const Form form_;
  const Sink sink_;
  std::uint64_t dropped_ = 0;
};

}  // namespace Agents
