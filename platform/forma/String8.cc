#include "platform/forma/String8.h"

#include <cstring>
#include <limits>
#include <new>

#include "platform/forma/Errors.h"

namespace Forma {

String8::Body* String8::make(std::size_t size) {
  if (size > std::numeric_limits<std::uint32_t>::max() - sizeof(Body) - 1)
    throwRangeException("String8::size > 0xffffffff not allowed");
  Body* body = new (::operator new(sizeof(Body) + size + 1)) Body;
  body->size = static_cast<std::uint32_t>(size);
  body->text()[size] = '\0';
  return body;
}

void String8::destroy(Body* body) {
  body->~Body();
  ::operator delete(body);
}

String8::String8(std::string_view text) {
  if (text.empty()) return;
  body_ = make(text.size());
  std::memcpy(body_->text(), text.data(), text.size());
}

String8 String8::join(std::string_view a, std::string_view b) {
  String8 both;
  if (a.empty() && b.empty()) return both;
  both.body_ = make(a.size() + b.size());
  std::memcpy(both.body_->text(), a.data(), a.size());
  std::memcpy(both.body_->text() + a.size(), b.data(), b.size());
  return both;
}

}  // namespace Forma
