#include "agents/routes/Words.h"

#include <algorithm>

namespace StaticRoutes {

namespace {

constexpr std::string_view blanks = " \t\r\v\f";

bool isBlank(char c) { return blanks.find(c) != std::string_view::npos; }

bool isComment(const Line& line, LineReader::Syntax syntax, char c) {
  if (syntax == LineReader::Syntax::shell) return c == '#';
  return line.words.empty() && (c == '!' || c == '#');
}

}  // namespace

bool Line::startsWith(std::initializer_list<std::string_view> texts) const {
  return words.size() >= texts.size() &&
         std::equal(texts.begin(), texts.end(), words.begin(),
                    [](std::string_view text, const Word& word) { return word.text == text; });
}

std::optional<Line> LineReader::next() {
  while (at_ < text_.size()) {
    Line line = physicalLine();
    if (!line.words.empty()) return line;
  }
  return std::nullopt;
}

Line LineReader::physicalLine() {
  Line line;
  while (at_ < text_.size() && text_[at_] != '\n') {
    if (isBlank(text_[at_])) ++at_;
    else if (isComment(line, syntax_, text_[at_])) skipLine();
    else if (!takeJoint()) takeWord(line);
  }
  if (at_ < text_.size()) newLine();
  return line;
}

/// How many bytes before a newline join its line to the next: a backslash, and the carriage return
/// of a file from elsewhere.
std::size_t LineReader::jointSize() const {
  if (syntax_ != Syntax::shell) return 0;
  const std::string_view rest = text_.substr(at_);
  return rest.starts_with("\\\n") ? 1 : rest.starts_with("\\\r\n") ? 2 : 0;
}

bool LineReader::takeJoint() {
  const std::size_t size = jointSize();
  if (size == 0) return false;
  at_ += size;
  newLine();
  return true;
}

void LineReader::takeWord(Line& line) {
  const std::size_t start = at_;
  const std::uint32_t startColumn = column();
  while (at_ < text_.size() && text_[at_] != '\n' && !isBlank(text_[at_]) && jointSize() == 0)
    ++at_;
  line.words.push_back({text_.substr(start, at_ - start), line_, startColumn});
  line.end = {line_, column(), {}};
}

void LineReader::skipLine() { at_ = std::min(text_.find('\n', at_), text_.size()); }

void LineReader::newLine() {
  lineStart_ = ++at_;
  ++line_;
}

Place WordReader::place() const {
  return atEnd() ? line_.end : Place{line_.words[at_].line, line_.words[at_].column, {}};
}

const Word& WordReader::take(std::string_view what) {
  if (atEnd())
    throw Refusal{{line_.end, "expected " + std::string(what) + ", found the end of the line"}};
  return line_.words[at_++];
}

bool WordReader::takeIf(std::string_view text) {
  if (atEnd() || peek() != text) return false;
  ++at_;
  return true;
}

void WordReader::takeEnd() {
  if (!atEnd()) refuse(line_.words[at_], "the end of the line");
}

void refuse(const Word& word, std::string_view what) {
  throw Refusal{{{word.line, word.column, {}}, expected(what, word.text)}};
}

}  // namespace StaticRoutes
