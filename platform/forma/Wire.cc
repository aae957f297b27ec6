#include "platform/forma/Wire.h"

#include "platform/forma/Errors.h"

namespace Forma {

void BytesIn::fail(std::string_view expected) const {
  throwParseException("message damaged: expected " + std::string(expected) + ", " +
                      std::to_string(rest_.size()) + " bytes before its end");
}

void formaEncode(std::string& out, const String8& v) {
  encode(out, static_cast<std::uint32_t>(v.size()));
  out.append(v.view());
}

void formaDecode(BytesIn& in, String8& v) {
  const auto size = static_cast<std::size_t>(in.take(4));
  v = String8(in.takeBytes(size));
}

}  // namespace Forma
