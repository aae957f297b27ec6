#include "mpls/types/FwdEqvClass.h"

namespace Mpls {

FORMA_DEFINE_WIRE(FwdEqvClass)

void formaPrint(std::string& out, const FwdEqvClass& v) { Forma::print(out, v.prefix()); }

void formaParse(Forma::TextIn& in, FwdEqvClass& v) {
  const std::string_view whole = in.fieldText();
  Forma::TextIn text(whole);
  Netbase::IpGenPrefix prefix;
  try {
    Forma::parse(text, prefix);
  } catch (const Forma::ParseException&) {
    Forma::throwRangeException(FwdEqvClass::formaInvalidText);
  } catch (const Forma::RangeException&) {
    Forma::throwRangeException(FwdEqvClass::formaInvalidText);
  }
  if (!text.atEnd()) Forma::throwRangeException(FwdEqvClass::formaInvalidText);
  in.skip(whole.size());
  v.prefix_ = prefix;
}

}  // namespace Mpls
