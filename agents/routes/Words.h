/// Lines of words, each with its place; and the reading of one line word by word.
#pragma once

#include <cstdint>
#include <initializer_list>
#include <optional>
#include <string_view>
#include <vector>

#include "agents/routes/Diagnostic.h"

namespace StaticRoutes {

struct Word {
  std::string_view text;
  std::uint32_t line;
  std::uint32_t column;
};

/// The words of one line, one at least; `end` is the place behind the last one.
struct Line {
  std::vector<Word> words;
  Place end;

  /// Whether the line begins with these words.
  bool startsWith(std::initializer_list<std::string_view> texts) const;
};

/// Cuts a text into lines and words. The text must outlive the reader and the words.
class LineReader {
 public:
  enum class Syntax {
    plain,  ///< a line whose first word begins with '!' or '#' is a comment
    shell   ///< a word that begins with '#' begins a comment; a backslash joins lines
  };

  LineReader(std::string_view text, Syntax syntax) : text_(text), syntax_(syntax) {}
  /// The next line with a word in it; nothing at the end.
  std::optional<Line> next();

 private:
  Line physicalLine();
  std::size_t jointSize() const;
  bool takeJoint();
  void takeWord(Line& line);
  void skipLine();
  void newLine();
  std::uint32_t column() const { return static_cast<std::uint32_t>(at_ - lineStart_ + 1); }

  std::string_view text_;
  Syntax syntax_;
  std::size_t at_ = 0;
  std::size_t lineStart_ = 0;
  std::uint32_t line_ = 1;
};

/// Goes over the words of one line. The line must outlive it.
class WordReader {
 public:
  explicit WordReader(const Line& line, std::size_t from = 0) : line_(line), at_(from) {}

  bool atEnd() const { return at_ >= line_.words.size(); }
  /// The next word without going over it; empty at the end.
  std::string_view peek() const { return atEnd() ? std::string_view() : line_.words[at_].text; }
  /// Where the next word stands; the end of the line when there is none.
  Place place() const;
  /// Goes over the next word, which should be a `what`; raises Refusal at the end.
  const Word& take(std::string_view what);
  /// Goes over the next word if it is `text`.
  bool takeIf(std::string_view text);
  /// Raises Refusal when there is another word.
  void takeEnd();

 private:
  const Line& line_;
  std::size_t at_;
};

/// Hands each line of a text to `readLine`. What that refuses becomes a diagnostic, and the reading
/// goes on with the next line.
template <class ReadLine>
void readLines(std::string_view text, LineReader::Syntax syntax,
               std::vector<Diagnostic>& diagnostics, ReadLine readLine) {
  LineReader lines(text, syntax);
  while (const auto line = lines.next()) {
    try {
      readLine(*line);
    } catch (const Refusal& refusal) {
      diagnostics.push_back(refusal.why);
    }
  }
}

/// Refuses a word.
[[noreturn]] void refuse(const Word& word, std::string_view what);

}  // namespace StaticRoutes
