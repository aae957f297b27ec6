#include "mpls/types/ViaSet.h"

#include "platform/forma/MapForm.h"

namespace Mpls {

namespace {

constexpr std::string_view opening = "Value('Mpls::ViaSet', ** {'via': ";
constexpr std::string_view closing = "})";

}  // namespace

void formaPrint(std::string& out, const ViaSet& v) {
  out.append(opening);
  Forma::printMap(out, v.vias_);
  out.append(closing);
}

void formaParse(Forma::TextIn& in, ViaSet& v) {
  ViaSet next;
  in.take(opening);
  Forma::parseMap(in, next.vias_);
  in.take(closing);
  v = std::move(next);
}

void formaEncode(std::string& out, const ViaSet& v) { Forma::encodeMap(out, v.vias_); }
void formaDecode(Forma::BytesIn& in, ViaSet& v) { Forma::decodeMap(in, v.vias_); }

}  // namespace Mpls
