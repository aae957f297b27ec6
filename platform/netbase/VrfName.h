/// The name of a VRF.
#pragma once

#include <array>
#include <compare>
#include <cstdint>
#include <string_view>

#include "platform/netbase/Namespace.h"

namespace L3 {

/// At most 100 bytes of any kind; empty by default.
///
/// Kept in place: 101 bytes, aligned to one; the bytes behind the name are zero. Ordered by bytes.
/// Text: the name in quotes, as strings are. Wire: as a string.
class VrfName {
  FORMA_OPAQUE_VALUE(L3::VrfName)
 public:
  /// In bytes.
  static constexpr std::size_t maxLength() { return 100; }

  constexpr VrfName() = default;
  /// From the bare name; raises RangeException above maxLength() bytes.
  MPLS_EXPORT explicit VrfName(std::string_view name);

  /// The bare name; it lives as long as this object.
  constexpr std::string_view name() const { return {bytes_.data(), size_}; }
  constexpr std::size_t size() const { return size_; }
  constexpr bool empty() const { return size_ == 0; }

  /// The bare name, without the quotes of the text form.
  Forma::String8 stringValue() const { return Forma::String8(name()); }

  /// Whether bytes that were read from elsewhere make a name; see Forma::loadFlat.
  constexpr bool formaFlatOk() const { return size_ <= maxLength(); }

  constexpr bool operator==(const VrfName& o) const { return name() == o.name(); }
  constexpr std::strong_ordering operator<=>(const VrfName& o) const { return name() <=> o.name(); }
  std::uint64_t hash() const { return Forma::hashBytes(bytes_.data(), size_); }

 private:
  std::uint8_t size_ = 0;
  std::array<char, 100> bytes_{};
};

}  // namespace L3
