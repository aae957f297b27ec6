#include "platform/netbase/MplsLabel.h"

#include "platform/netbase/NumberText.h"

namespace Netbase {

void MplsLabel::throwTooLarge() {
  Forma::throwRangeException(
      "MplsLabel::value < MplsLabel::min or > MplsLabel::luWithdraw not allowed");
}

void formaPrint(std::string& out, const MplsLabel& v) { Forma::print(out, v.value()); }
void formaParse(Forma::TextIn& in, MplsLabel& v) { v.valueIs(parseNumber(in)); }

void formaEncode(std::string& out, const MplsLabel& v) { Forma::encode(out, v.value()); }

void formaDecode(Forma::BytesIn& in, MplsLabel& v) {
  std::uint32_t value = 0;
  Forma::decode(in, value);
  v.valueIs(value);
}

}  // namespace Netbase
