#include "mpls/types/L2ViaSet.h"

#include "platform/forma/MapForm.h"

namespace Mpls::Hardware {

namespace {

constexpr std::string_view opening = "Value('Mpls::Hardware::L2ViaSet', ** {'l2Via': ";
constexpr std::string_view closing = "})";

}  // namespace

void formaPrint(std::string& out, const L2ViaSet& v) {
  out.append(opening);
  Forma::printMap(out, v.l2Vias_);
  out.append(closing);
}

void formaParse(Forma::TextIn& in, L2ViaSet& v) {
  L2ViaSet next;
  in.take(opening);
  Forma::parseMap(in, next.l2Vias_);
  in.take(closing);
  v = std::move(next);
}

void formaEncode(std::string& out, const L2ViaSet& v) { Forma::encodeMap(out, v.l2Vias_); }
void formaDecode(Forma::BytesIn& in, L2ViaSet& v) { Forma::decodeMap(in, v.l2Vias_); }

}  // namespace Mpls::Hardware
