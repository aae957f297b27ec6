#include "mpls/types/RouterId.h"

#include "ldp/LdpIdentifier.h"
#include "platform/forma/Assert.h"
#include "platform/netbase/IpAddr.h"

namespace Mpls {

FORMA_DEFINE_WIRE(RouterId)

namespace {

constexpr char hexDigits[] = "0123456789abcdef";
constexpr std::size_t systemIdSize = 14;  // 0102.0304.0506

[[noreturn]] void throwInvalid() { Forma::throwRangeException(RouterId::formaInvalidText); }

void printSystemId(std::string& out, std::uint64_t sixBytes) {
  for (int shift = 44; shift >= 0; shift -= 4) {
    out.push_back(hexDigits[sixBytes >> shift & 15]);
    if (shift == 32 || shift == 16) out.push_back('.');
  }
}

unsigned hexValue(char c) {
  if (c >= '0' && c <= '9') return static_cast<unsigned>(c - '0');
  if (c >= 'a' && c <= 'f') return static_cast<unsigned>(c - 'a' + 10);
  if (c >= 'A' && c <= 'F') return static_cast<unsigned>(c - 'A' + 10);
  throwInvalid();
}

/// Three groups of four hexadecimal digits, of either case.
RouterId parseSystemId(std::string_view text) {
  if (text.size() != systemIdSize || text[4] != '.' || text[9] != '.') throwInvalid();
  RouterId::SystemId id;
  for (std::size_t i = 0; i < id.size(); ++i) {
    const std::size_t at = i * 2 + i / 2;  // a dot stands behind every second byte
    id[i] = static_cast<std::uint8_t>(hexValue(text[at]) << 4 | hexValue(text[at + 1]));
  }
  return RouterId(isis_, id);
}

RouterId parseLdp(std::string_view text) {
  Forma::TextIn in(text);
  Ldp::LdpIdentifier id;
  Forma::parse(in, id);
  if (!in.atEnd()) throwInvalid();
  return RouterId(ldp_, id.lsrId(), id.lblSpace());
}

/// The dots tell what kind of text it is.
RouterId parseRouterId(std::string_view text) {
  int dots = 0;
  for (const char c : text) {
    if (c == '.') ++dots;
    if (c == ':' && dots == 3) return parseLdp(text);
  }
  if (dots == 3) return RouterId(mplste_, Netbase::IpAddr(text).value(), 0);
  if (dots == 2) return parseSystemId(text);
  throwInvalid();
}

}  // namespace

RouterId::RouterId(Protocol protocol, const SystemId& systemId) : protocol_(protocol) {
  FORMA_ASSERT_TEXT(protocol == isis_, "protocol == isis_",
                    "Only ISIS system IDs are handled by this constructor");
  std::uint64_t sixBytes = 0;
  for (const std::uint8_t byte : systemId) sixBytes = sixBytes << 8 | byte;
  rtrIdValueIs(static_cast<std::uint32_t>(sixBytes >> 16));
  lblSpaceValueIs(static_cast<std::uint16_t>(sixBytes));
}

void formaPrint(std::string& out, const RouterId& v) {
  if (v.protocol() == isis_) {
    printSystemId(out, std::uint64_t{v.rtrIdValue()} << 16 | v.lblSpaceValue());
  } else if (v.protocol() == ldp_) {
    Forma::print(out, Ldp::LdpIdentifier(v.rtrIdValue(), v.lblSpaceValue()));
  } else {
    Forma::print(out, Netbase::IpAddr(v.rtrIdValue()));
  }
}

void formaParse(Forma::TextIn& in, RouterId& v) {
  const std::string_view text = in.fieldText();
  v = parseRouterId(text);
  in.skip(text.size());
}

}  // namespace Mpls
