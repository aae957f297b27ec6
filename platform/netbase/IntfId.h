/// The identifier of a network interface: its name.
#pragma once

#include <array>
#include <compare>
#include <cstdint>
#include <string_view>

#include "platform/netbase/ByteOrder.h"
#include "platform/netbase/Namespace.h"

namespace Netbase {

/// An interface name of at most 15 bytes, the most that Linux allows; empty by default.
///
/// Kept in place: 16 bytes, zero padded, aligned to one. A name holds no '/', blank or control
/// byte, and is neither "." nor "..". Ordered by bytes. Text: the name in quotes, as strings are.
/// Wire: as a string.
class IntfId {
  FORMA_OPAQUE_VALUE(Netbase::IntfId)
 public:
  static constexpr std::size_t maxLength() { return 15; }

  constexpr IntfId() = default;
  /// From the bare name; raises RangeException when an interface cannot be called so.
  MPLS_EXPORT explicit IntfId(std::string_view name);

  /// The bare name; it lives as long as this object.
  constexpr std::string_view name() const { return {bytes_.data(), size()}; }
  constexpr bool empty() const { return bytes_[0] == '\0'; }
  constexpr std::size_t size() const {
    std::size_t count = 0;
    while (bytes_[count] != '\0') ++count;  // the last byte is always zero
    return count;
  }
  /// The number of the interface's type, see GenericIntfId.
  MPLS_EXPORT std::uint32_t typeId() const;

  /// The bare name, without the quotes of the text form.
  Forma::String8 stringValue() const { return Forma::String8(name()); }

  /// Whether bytes that were read from elsewhere make a name that ends; see Forma::loadFlat.
  constexpr bool formaFlatOk() const { return bytes_.back() == '\0'; }

  constexpr bool operator==(const IntfId& o) const { return words(bytes_) == words(o.bytes_); }
  constexpr std::strong_ordering operator<=>(const IntfId& o) const {
    return words(bytes_) <=> words(o.bytes_);
  }
  constexpr std::uint64_t hash() const {
    const Words w = words(bytes_);
    return Forma::mix(Forma::mix(w.high, 0), w.low);
  }

 private:
  std::array<char, 16> bytes_{};
};

}  // namespace Netbase
