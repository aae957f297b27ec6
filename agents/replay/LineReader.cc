#include "agents/replay/LineReader.h"

#include <cerrno>
#include <sstream>
#include <system_error>

#include "agents/common/Printable.h"

namespace Replay {

namespace {

[[noreturn]] void unreadable(const std::string& path) {
  throw InputError(path + ": cannot be read: " + std::generic_category().message(errno));
}

std::ifstream opened(const std::string& path) {
  errno = 0;
  std::ifstream file(path, std::ios::binary);
  if (!file) unreadable(path);
  return file;
}

/// The parser's messages begin with its own number in brackets, and may quote a long text.
std::string problemText(std::string_view what) {
  if (const std::size_t end = what.find("] "); end != std::string_view::npos)
    what.remove_prefix(end + 2);
  return Agents::printable(what.substr(0, 200));
}

}  // namespace

Document::Document(std::string_view text, std::string source) : source_(std::move(source)) {
  try {
    json_ = nlohmann::json::parse(text);
  } catch (const nlohmann::json::exception& problem) {
    throw InputError(source_ + ": expected JSON: " + problemText(problem.what()));
  }
}

Document documentOf(const std::string& path) {
  const std::ifstream file = opened(path);
  std::ostringstream text;
  text << file.rdbuf();
  if (file.bad() || !text) unreadable(path);
  return {text.str(), path};
}

LineReader::LineReader(std::string path) : path_(std::move(path)), file_(opened(path_)) {}

bool LineReader::next(Document* event) {
  std::string text;
  while (nextLine(&text)) {
    if (text.find_first_not_of(" \t\r") == std::string::npos) continue;
    *event = Document(text, path_ + ":" + std::to_string(line_));
    return true;
  }
  if (file_.bad()) unreadable(path_);
  return false;
}

bool LineReader::nextLine(std::string* text) {
  text->clear();
  if (file_.peek() == std::ifstream::traits_type::eof()) return false;
  ++line_;
  for (int c = file_.get(); c != '\n' && c != std::ifstream::traits_type::eof(); c = file_.get()) {
    if (text->size() == maxLineBytes)
      throw InputError(path_ + ":" + std::to_string(line_) + ": a line of more than 16 MiB");
    text->push_back(static_cast<char>(c));
  }
  return true;
}

}  // namespace Replay
