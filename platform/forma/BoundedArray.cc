#include "platform/forma/BoundedArray.h"

namespace Forma {

void throwOutsideIndexRange(std::string_view type) {
  const std::string name(type);
  throwRangeException(name + "::value < " + name + "::min or > " + name + "::max not allowed");
}

void throwElementAhead(std::string_view index, std::size_t at, std::size_t count) {
  throwRangeException(std::string(index) + "::value " + std::to_string(at) +
                      " not allowed: the next element is " + std::to_string(count));
}

void printBytes(std::string& out, std::string_view bytes) { print(out, String8(bytes)); }

String8 parseBytes(TextIn& in) {
  String8 text;
  parse(in, text);
  return text;
}

}  // namespace Forma
