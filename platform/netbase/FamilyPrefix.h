/// What Prefix and Ip6Prefix have in common. Private to this folder; users include Prefix.h.
#pragma once

#include <array>
#include <compare>
#include <cstdint>
#include <type_traits>

#include "platform/netbase/IpGenPrefix.h"

namespace Netbase {

/// An address of one family and the number of its leading bits that count; the others are zero.
template <class AddressType>
class FamilyPrefix {
 public:
  using Address = AddressType;
  static constexpr unsigned maxLength = 8 * sizeof(typename Address::Bytes);

  constexpr FamilyPrefix() = default;
  /// Raises RangeException when the length is above maxLength, or bits behind it are set.
  FamilyPrefix(const Address& address, unsigned length)
      : FamilyPrefix(IpGenPrefix(address, length)) {}

  constexpr Address address() const { return Address(bytes_); }
  /// In bits.
  constexpr std::uint8_t length() const { return length_; }
  IpGenPrefix generic() const { return {address(), length_}; }

  /// Whether bytes that were read from elsewhere make a prefix; see Forma::loadFlat.
  constexpr bool formaFlatOk() const {
    if (length_ > maxLength) return false;
    for (std::size_t i = length_ / 8U; i < bytes_.size(); ++i)
      if ((bytes_[i] & bitsBehind(i)) != 0) return false;
    return true;
  }

  constexpr bool operator==(const FamilyPrefix&) const = default;
  constexpr auto operator<=>(const FamilyPrefix&) const = default;
  constexpr std::uint64_t hash() const { return Forma::mix(address().hash(), length_); }

 protected:
  /// Raises RangeException when the prefix is of another family, or none.
  explicit FamilyPrefix(const IpGenPrefix& prefix) : length_(prefix.length()) {
    if constexpr (maxLength == 32) bytes_ = prefix.address().v4().bytes();
    else bytes_ = prefix.address().v6().bytes();
  }

 private:
  /// The bits of byte `at` that do not count.
  constexpr unsigned bitsBehind(std::size_t at) const {
    return at * 8 >= length_ ? 0xffU : 0xffU >> (length_ - at * 8);
  }

  typename Address::Bytes bytes_{};
  std::uint8_t length_ = 0;
};

}  // namespace Netbase
