#include "ldp/LdpIdentifier.h"

#include <algorithm>

#include "platform/netbase/IpAddr.h"

namespace Ldp {

FORMA_DEFINE_WIRE(LdpIdentifier)

namespace {

constexpr std::uint32_t largestSpace = 65535;

constexpr bool isDigit(char c) { return c >= '0' && c <= '9'; }

/// The number that `digits` begin with, or any above `largestSpace`; moves `at` behind its digits.
std::uint32_t readSpace(std::string_view digits, std::size_t& at) {
  std::uint32_t space = 0;
  for (; at < digits.size() && isDigit(digits[at]); ++at)
    space = std::min(space * 10 + static_cast<std::uint32_t>(digits[at] - '0'), largestSpace + 1);
  return space;
}

}  // namespace

void formaPrint(std::string& out, const LdpIdentifier& v) {
  Forma::print(out, Netbase::IpAddr(v.lsrId()));
  out.push_back(':');
  Forma::print(out, v.lblSpace());
}

void formaParse(Forma::TextIn& in, LdpIdentifier& v) {
  const std::string_view text = in.rest();
  const std::size_t colon = std::min(text.find(':'), text.size());
  std::size_t at = colon + 1;
  const bool hasSpace = at < text.size() && isDigit(text[at]);
  const std::uint32_t space = hasSpace ? readSpace(text, at) : 0;
  if (!hasSpace || space > largestSpace)
    Forma::throwRangeException(LdpIdentifier::formaInvalidText);
  const Netbase::IpAddr address(text.substr(0, colon));  // its error tells more than ours could
  v = LdpIdentifier(address.value(), static_cast<std::uint16_t>(space));
  in.skip(at);
}

}  // namespace Ldp
