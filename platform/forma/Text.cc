#include "platform/forma/Text.h"

#include <ostream>

#include "platform/forma/Errors.h"

namespace Forma {

namespace {

constexpr char hexDigits[] = "0123456789abcdef";

int hexValue(char c) {
  if (c >= '0' && c <= '9') return c - '0';
  if (c >= 'a' && c <= 'f') return c - 'a' + 10;
  if (c >= 'A' && c <= 'F') return c - 'A' + 10;
  return -1;
}

/// The character that an escape stands for; `in` is behind the backslash.
char parseEscape(TextIn& in) {
  if (in.tryTake("\\")) return '\\';
  if (in.tryTake("'")) return '\'';
  const std::string_view text = in.rest();
  if (text.size() < 3 || text[0] != 'x') in.fail("an escape: \\\\, \\' or \\xNN");
  const int high = hexValue(text[1]);
  const int low = hexValue(text[2]);
  if (high < 0 || low < 0) in.fail("two hexadecimal digits");
  in.skip(3);
  return static_cast<char>(high * 16 + low);
}

}  // namespace

std::string_view TextIn::fieldText() const {
  const std::string_view text = rest();
  return text.substr(0, std::min(text.find(", "), text.find("})")));
}

void TextIn::fail(std::string_view before, std::string_view expected,
                  std::string_view after) const {
  constexpr std::size_t mostShown = 60;
  std::string text = "expected ";
  text.append(before).append(expected).append(after).append(" at position ");
  print(text, at_ - begin_);
  text.append(" of \"");
  const std::string_view all(begin_, static_cast<std::size_t>(end_ - begin_));
  text.append(all.substr(0, mostShown)).append(all.size() > mostShown ? "...\"" : "\"");
  throwParseException(text);
}

void formaPrint(std::string& out, const String8& v) {
  out.push_back('\'');
  for (const char c : v) {
    const auto byte = static_cast<unsigned char>(c);
    if (c == '\\' || c == '\'') {
      out.push_back('\\');
      out.push_back(c);
    } else if (byte < 0x20 || byte == 0x7f) {
      out.append({'\\', 'x', hexDigits[byte >> 4], hexDigits[byte & 15]});
    } else {
      out.push_back(c);
    }
  }
  out.push_back('\'');
}

void formaParse(TextIn& in, String8& v) {
  in.take("'");
  std::string text;
  while (!in.tryTake("'")) {
    if (in.atEnd()) in.fail("a closing quote");
    if (in.tryTake("\\")) {
      text.push_back(parseEscape(in));
    } else {
      text.push_back(in.rest().front());
      in.skip(1);
    }
  }
  v = String8(text);
}

void printDouble(std::string& out, double v) {
  char digits[40];
  out.append(digits, std::to_chars(digits, digits + sizeof digits, v).ptr);
}

double parseDouble(TextIn& in) {
  const std::string_view text = in.rest();
  double v = 0;
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), v);
  if (error != std::errc{}) in.fail("a number");
  in.skip(static_cast<std::size_t>(end - text.data()));
  return v;
}

void throwInvalidText(std::string_view message) { throwRangeException(message); }

void throwNoEnumerator(std::string_view type, std::uint64_t number) {
  std::string text(type);
  text.append("::value ");
  print(text, number);
  throwRangeException(text.append(" not allowed"));
}

void throwNoEnumerator(std::string_view type, std::string_view name) {
  std::string text = "expected a member of ";
  text.append(type).append(", not \"").append(name).append("\"");
  throwParseException(text);
}

std::ostream& writeText(std::ostream& out, std::string_view text) { return out << text; }
std::ostream& writeEnumerator(std::ostream& out, std::string_view name) { return out << name; }
std::ostream& operator<<(std::ostream& out, const String8& v) { return out << v.view(); }

}  // namespace Forma
