#include "mpls/types/ViaSet.h"

#include <utility>

namespace Mpls {

namespace {

constexpr std::string_view opening = "Value('Mpls::ViaSet', ** {'via': {";
constexpr std::string_view closing = "}})";

}  // namespace

void formaPrint(std::string& out, const ViaSet& v) {
  out.append(opening);
  std::string_view separator;
  v.vias_.forEach([&](const Via& via, std::int32_t value) {
    out.append(std::exchange(separator, ", "));
    Forma::print(out, via);
    out.append(": ");
    Forma::print(out, value);
  });
  out.append(closing);
}

void formaParse(Forma::TextIn& in, ViaSet& v) {
  ViaSet next;
  in.take(opening);
  while (!in.tryTake(closing)) {
    if (next.vias() != 0) in.take(", ");
    Via via;
    std::int32_t value = 0;
    Forma::parse(in, via);
    in.take(": ");
    Forma::parse(in, value);
    if (!next.vias_.insert(std::move(via), value).second) in.fail("each via once");
  }
  v = std::move(next);
}

void formaEncode(std::string& out, const ViaSet& v) {
  Forma::encode(out, static_cast<std::uint32_t>(v.vias()));
  v.vias_.forEach([&](const Via& via, std::int32_t value) {
    Forma::encode(out, via);
    Forma::encode(out, value);
  });
}

void formaDecode(Forma::BytesIn& in, ViaSet& v) {
  ViaSet next;
  std::uint32_t count = 0;
  Forma::decode(in, count);
  if (count > in.rest().size()) in.fail("no more vias than bytes");
  while (count-- > 0) {
    Via via;
    std::int32_t value = 0;
    Forma::decode(in, via);
    Forma::decode(in, value);
    if (!next.vias_.insert(std::move(via), value).second) in.fail("each via once");
  }
  v = std::move(next);
}

}  // namespace Mpls
