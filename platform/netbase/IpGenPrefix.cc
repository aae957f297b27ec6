#include "platform/netbase/IpGenPrefix.h"

#include "platform/netbase/AddressText.h"
#include "platform/netbase/WireBytes.h"

namespace Netbase {

namespace {

constexpr std::string_view unset = "none";

/// The bits of a word that lie behind the first `length` bits.
std::uint64_t bitsBehind(unsigned length) { return length >= 64 ? 0 : ~std::uint64_t{0} >> length; }

/// The part of an address behind the first `length` bits; an IPv4 address fills the first 32 bits,
/// the rest of its bytes are zero.
bool hasBitsBehind(const Words& address, unsigned length) {
  const unsigned lengthOfLow = length > 64 ? length - 64 : 0;
  return (address.high & bitsBehind(length)) != 0 || (address.low & bitsBehind(lengthOfLow)) != 0;
}

bool isPrefix(const IpGenAddr& address, unsigned length) {
  return length <= address.bits() && !hasBitsBehind(words(address.bytes()), length);
}

/// One to three decimal digits without leading zeros.
const char* readLength(const char* at, const char* end, unsigned& length) {
  const char* const begin = at;
  length = 0;
  while (at != end && at - begin < 3 && *at >= '0' && *at <= '9')
    length = length * 10 + static_cast<unsigned>(*at++ - '0');
  return at == begin || (at - begin > 1 && *begin == '0') ? nullptr : at;
}

const char* read(const char* at, const char* end, IpGenPrefix& v) {
  IpGenAddr address;
  unsigned length = 0;
  at = AddressText::readEither(at, end, address);
  if (at == nullptr || at == end || *at != '/') return nullptr;
  at = readLength(at + 1, end, length);
  if (at == nullptr || !isPrefix(address, length)) return nullptr;
  v = IpGenPrefix(address, length);
  return at;
}

}  // namespace

IpGenPrefix::IpGenPrefix(const IpGenAddr& address, unsigned length)
    : address_(address), length_(static_cast<std::uint8_t>(length)) {
  if (length > address.bits())
    Forma::throwRangeException("IpGenPrefix::length > " + std::to_string(address.bits()) +
                               " not allowed");
  if (!isPrefix(address, length))
    Forma::throwRangeException("IpGenPrefix::address has bits set behind its length: not allowed");
}

IpGenPrefix::IpGenPrefix(std::string_view text) {
  const auto found = fromText(text);
  if (!found) AddressText::refuse("IP prefix", text);
  *this = *found;
}

std::optional<IpGenPrefix> IpGenPrefix::fromText(std::string_view text) {
  if (text == unset) return IpGenPrefix();
  return AddressText::whole<IpGenPrefix>(text, read);
}

bool IpGenPrefix::contains(const IpGenAddr& address) const {
  if (!isSet() || address.af() != af()) return false;
  const Words mine = words(address_.bytes());
  const Words other = words(address.bytes());
  const unsigned lengthOfLow = length_ > 64 ? length_ - 64u : 0;
  return ((mine.high ^ other.high) & ~bitsBehind(length_)) == 0 &&
         ((mine.low ^ other.low) & ~bitsBehind(lengthOfLow)) == 0;
}

void formaPrint(std::string& out, const IpGenPrefix& v) {
  Forma::print(out, v.address());
  if (!v.isSet()) return;
  out.push_back('/');
  Forma::print(out, v.length());
}

void formaParse(Forma::TextIn& in, IpGenPrefix& v) {
  if (in.tryTake(unset)) {
    v = IpGenPrefix();
  } else {
    AddressText::take("IP prefix", AddressText::prefixText, in, v, read);
  }
}

void formaEncode(std::string& out, const IpGenPrefix& v) {
  Forma::encode(out, v.address());
  Forma::encode(out, v.length());
}

void formaDecode(Forma::BytesIn& in, IpGenPrefix& v) {
  IpGenAddr address;
  std::uint8_t length = 0;
  Forma::decode(in, address);
  Forma::decode(in, length);
  v = IpGenPrefix(address, length);
}

}  // namespace Netbase
