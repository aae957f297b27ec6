#include "mpls/types/LabelStack.h"

namespace Mpls {

static_assert(sizeof(LabelStack) == 49);

void LabelStack::throwNoLabel() {
  Forma::throwRangeException("LabelStack::label > Netbase::MplsLabel::max not allowed");
}
void LabelStack::throwTooMany() {
  Forma::throwRangeException("LabelStack::labels > 16 not allowed");
}

void formaPrint(std::string& out, const LabelStack& v) {
  out.push_back('[');
  for (std::size_t i = 0; i < v.size(); ++i) {
    if (i != 0) out.append(", ");
    Forma::print(out, v.label(i));
  }
  out.push_back(']');
}

void formaParse(Forma::TextIn& in, LabelStack& v) {
  LabelStack next;
  in.take("[");
  while (!in.tryTake("]")) {
    if (!next.empty()) in.take(", ");
    Netbase::MplsLabel label;
    Forma::parse(in, label);
    next.append(label);
  }
  v = next;
}

void formaEncode(std::string& out, const LabelStack& v) {
  Forma::encode(out, static_cast<std::uint32_t>(v.size()));
  for (std::size_t i = 0; i < v.size(); ++i) Forma::encode(out, v.label(i));
}

void formaDecode(Forma::BytesIn& in, LabelStack& v) {
  LabelStack next;
  for (std::uint64_t count = in.take(4); count > 0; --count) {
    Netbase::MplsLabel label;
    Forma::decode(in, label);
    next.append(label);
  }
  v = next;
}

}  // namespace Mpls
