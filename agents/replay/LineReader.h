/// Reads the files of a recorded router: one event a line (events.jsonl), or one document.
///
/// Thread    one.
/// Errors    InputError, "FILE: cannot be read: ..." or "FILE:LINE: expected JSON: ...".
#pragma once

#include <cstddef>
#include <fstream>
#include <string>
#include <string_view>

#include "agents/replay/Node.h"

namespace Replay {

/// A JSON text with where it stands.
class Document {
 public:
  Document() = default;
  /// From the text itself.
  Document(std::string_view text, std::string source);

  Node node() const { return {json_, source_}; }

 private:
  nlohmann::json json_;
  std::string source_;
};

/// The whole of a file.
Document documentOf(const std::string& path);

class LineReader {
 public:
  /// Far above what a line holds; a file without line ends is no trap.
  static constexpr std::size_t maxLineBytes = std::size_t{16} << 20;

  explicit LineReader(std::string path);

  /// Reads the next line that is not empty; false at the end of the file.
  bool next(Document* event);
  /// That of the last event, from 1.
  std::size_t line() const { return line_; }

 private:
  bool nextLine(std::string* text);

  const std::string path_;
  std::ifstream file_;
  std::size_t line_ = 0;
};

}  // namespace Replay
