/// An IPv4 or IPv6 prefix.
#pragma once

#include <compare>
#include <cstdint>
#include <optional>
#include <string_view>

#include "platform/netbase/IpGenAddr.h"

namespace Netbase {

/// An address and the number of its leading bits that count; the others are zero. None by default.
/// 18 bytes without padding, aligned to one.
///
/// Ordered by address, then length. Text: address, "/", length (no leading zeros), or the word
/// none. The parser takes all of the digits, letters a to f, colons, dots and slashes that follow,
/// and raises RangeException `Invalid IP prefix "..."` when they are not a prefix or when bits
/// behind its length are set. Wire: the address, then one byte for the length.
class IpGenPrefix {
  FORMA_OPAQUE_VALUE(Netbase::IpGenPrefix)
 public:
  constexpr IpGenPrefix() = default;
  /// Raises RangeException when the length is above 32 (IPv4), 128 (IPv6) or 0 (none), or when
  /// bits behind it are set.
  MPLS_EXPORT IpGenPrefix(const IpGenAddr& address, unsigned length);
  /// From the whole text; raises RangeException.
  MPLS_EXPORT explicit IpGenPrefix(std::string_view text);
  /// From the whole text, or nothing when it is not a prefix.
  MPLS_EXPORT static std::optional<IpGenPrefix> fromText(std::string_view text);

  constexpr const IpGenAddr& address() const { return address_; }
  /// In bits: 0 to 32 or 128.
  constexpr std::uint8_t length() const { return length_; }
  constexpr AddressFamily af() const { return address_.af(); }
  constexpr bool isSet() const { return address_.isSet(); }

  /// True when the address is of this family and begins with this prefix. The prefix none contains
  /// nothing.
  MPLS_EXPORT bool contains(const IpGenAddr& address) const;

  Forma::String8 stringValue() const { return Forma::valueToStrep(*this); }
  /// Raises RangeException, and keeps the value.
  void stringValueIs(const Forma::String8& text) { *this = IpGenPrefix(text.view()); }

  /// Whether bytes that were read from elsewhere make a prefix; see Forma::loadFlat.
  constexpr bool formaFlatOk() const {
    return address_.formaFlatOk() && length_ <= address_.bits();
  }

  constexpr bool operator==(const IpGenPrefix&) const = default;
  constexpr auto operator<=>(const IpGenPrefix&) const = default;
  constexpr std::uint64_t hash() const { return Forma::mix(address_.hash(), length_); }

 private:
  IpGenAddr address_;
  std::uint8_t length_ = 0;
};

}  // namespace Netbase
