#include "platform/forma/Errors.h"

namespace Forma {

// The destructors stand here so that each type's identity is emitted once, in the library.
Exception::~Exception() = default;
RangeException::~RangeException() = default;
ParseException::~ParseException() = default;
NullException::~NullException() = default;
InternalException::~InternalException() = default;
NameException::~NameException() = default;
AccessException::~AccessException() = default;

void throwAccessException(std::string_view message) { throw AccessException(std::string(message)); }
void throwRangeException(std::string_view message) { throw RangeException(std::string(message)); }
void throwParseException(std::string_view message) { throw ParseException(std::string(message)); }
void throwNullException(std::string_view message) { throw NullException(std::string(message)); }
void throwNameException(std::string_view message) { throw NameException(std::string(message)); }

void throwNullParameter(std::string_view type, std::string_view member) {
  std::string text = "null _";
  text.append(member).append(" parameter to mutator for ").append(type);
  text.append("::").append(member).append(" not allowed");
  throw NullException(text);
}

}  // namespace Forma
