#include "platform/forma/Assert.h"

#include <unistd.h>

#include <cerrno>
#include <cstdlib>

#include "platform/forma/Errors.h"
#include "platform/forma/Text.h"
#include "platform/ringtrace/RingTrace.h"

namespace Forma {

namespace {

void replaceAll(std::string& text, std::string_view from, std::string_view to) {
  for (std::size_t at = 0; (at = text.find(from, at)) != std::string::npos; at += to.size())
    text.replace(at, from.size(), to);
}

/// One compiler writes "const T &f(T *const)" where the other writes "const T& f(T* const)", and
/// each has its own words for unnamed namespaces and template arguments.
std::string spelledAlike(std::string_view signature) {
  std::string out;
  for (const char c : signature) {
    const bool mark = c == '&' || c == '*';
    if (mark && out.ends_with(' ')) out.pop_back();
    if (isNameCharacter(c) && (out.ends_with('&') || out.ends_with('*'))) out.push_back(' ');
    out.push_back(c);
  }
  replaceAll(out, "{anonymous}", "(anonymous namespace)");
  replaceAll(out, "[with ", "[");
  replaceAll(out, "; ", ", ");
  return out;
}

void record(std::string_view condition, std::string_view message) {
  RingTrace::record("assertion failed(", condition, "): ", message);
}

}  // namespace

std::string assertionText(std::string_view file, int line, std::string_view function,
                          std::string_view condition, std::string_view message) {
  std::string text(file.substr(file.rfind('/') + 1));
  text.push_back(':');
  print(text, line);
  text.append(" ").append(spelledAlike(function)).append(" -- assertion failed(").append(condition);
  text.append("): ").append(message);
  return text;
}

void assertionAborts(std::string_view file, int line, std::string_view function,
                     std::string_view condition, std::string_view message) {
  const std::string text = assertionText(file, line, function, condition, message) + "\n";
  for (std::string_view rest = text; !rest.empty();) {
    const ssize_t written = ::write(STDERR_FILENO, rest.data(), rest.size());
    if (written < 0 && errno == EINTR) continue;
    if (written <= 0) break;
    rest.remove_prefix(static_cast<std::size_t>(written));
  }
  record(condition, message);
  RingTrace::printOnAbort();
  std::abort();
}

void assertionThrows(std::string_view file, int line, std::string_view function,
                     std::string_view condition, std::string_view message) {
  record(condition, message);
  throw InternalException(assertionText(file, line, function, condition, message));
}

}  // namespace Forma
