/// An IPv4 or IPv6 address.
#pragma once

#include <compare>
#include <cstdint>
#include <optional>
#include <string_view>

#include "platform/netbase/AddressFamily.h"
#include "platform/netbase/Ip6Addr.h"
#include "platform/netbase/IpAddr.h"

namespace Netbase {

/// An address of either family, or none (the default). 17 bytes without padding, aligned to one.
///
/// Ordered by family (none, IPv4, IPv6), then numerically. Text: that of the address, or the word
/// none; bad text raises RangeException `Invalid IP address "..."`. Wire: one byte for the family,
/// then no, four or sixteen bytes in network order.
class IpGenAddr {
  FORMA_OPAQUE_VALUE(Netbase::IpGenAddr)
 public:
  constexpr IpGenAddr() = default;
  constexpr IpGenAddr(IpAddr addr) : af_(ipv4_) {
    const IpAddr::Bytes bytes = addr.bytes();
    for (std::size_t i = 0; i < bytes.size(); ++i) bytes_[i] = bytes[i];
  }
  constexpr IpGenAddr(const Ip6Addr& addr) : af_(ipv6_), bytes_(addr.bytes()) {}
  /// From the whole text; raises RangeException.
  MPLS_EXPORT explicit IpGenAddr(std::string_view text);
  /// From the whole text, or nothing when it is not an address.
  MPLS_EXPORT static std::optional<IpGenAddr> fromText(std::string_view text);

  constexpr AddressFamily af() const { return af_; }
  constexpr bool isSet() const { return af_ != afUnknown_; }
  constexpr bool isV4() const { return af_ == ipv4_; }
  constexpr bool isV6() const { return af_ == ipv6_; }
  /// The address as one of its family; raises RangeException when it is of another.
  constexpr IpAddr v4() const {
    if (!isV4()) throwOtherFamily("ipv4");
    return IpAddr(static_cast<std::uint32_t>(words(bytes_).high >> 32));
  }
  constexpr Ip6Addr v6() const {
    if (!isV6()) throwOtherFamily("ipv6");
    return Ip6Addr(bytes_);
  }

  /// The address in network order: four bytes and zeros, sixteen bytes, or all zeros.
  constexpr const Ip6Addr::Bytes& bytes() const { return bytes_; }
  /// How many bits an address of this family has: 32, 128, or 0 when there is none.
  constexpr unsigned bits() const { return isV4() ? 32 : isV6() ? 128 : 0; }

  Forma::String8 stringValue() const { return Forma::valueToStrep(*this); }
  /// Raises RangeException, and keeps the value.
  void stringValueIs(const Forma::String8& text) { *this = IpGenAddr(text.view()); }

  /// Whether bytes that were read from elsewhere make an address; see Forma::loadFlat.
  constexpr bool formaFlatOk() const { return af_ <= ipv6_; }

  constexpr bool operator==(const IpGenAddr& o) const {
    return af_ == o.af_ && words(bytes_) == words(o.bytes_);
  }
  constexpr std::strong_ordering operator<=>(const IpGenAddr& o) const {
    if (af_ != o.af_) return af_ <=> o.af_;
    return words(bytes_) <=> words(o.bytes_);
  }
  constexpr std::uint64_t hash() const {
    const Words w = words(bytes_);
    return Forma::mix(Forma::mix(w.high, af_), w.low);
  }

 private:
  [[noreturn]] MPLS_EXPORT static void throwOtherFamily(std::string_view wanted);

  AddressFamily af_ = afUnknown_;
  Ip6Addr::Bytes bytes_{};  // an IPv4 address in the first four, then zeros
};

}  // namespace Netbase
