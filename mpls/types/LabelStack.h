/// The labels that a next hop puts on packets.
#pragma once

#include <array>
#include <compare>
#include <cstddef>
#include <cstdint>
#include <initializer_list>
#include <span>
#include <string_view>

#include "mpls/types/Namespace.h"
#include "platform/netbase/MplsLabel.h"

namespace Mpls {

/// Up to 16 labels, the outermost first; none by default. A swap replaces the top label by all of
/// them, a push puts all of them on top.
///
/// 16 are more than forwarding chips impose (RFC 8491 calls that the maximum SID depth; some 3 to
/// 12). Kept in place, for shared memory: 49 bytes without padding, aligned to one, three for each
/// label in network order, as RFC 8277 carries labels; what is not used is zero.
///
/// Text      [16000, 24001]
/// Order     by labels from the outermost, then by their number.
/// Errors    RangeException for a seventeenth label, and for one above MplsLabel::max.
class LabelStack {
  FORMA_OPAQUE_VALUE(Mpls::LabelStack)
 public:
  static constexpr std::size_t maxLabels() { return 16; }

  constexpr LabelStack() = default;
  /// From labels; one that was never set (MplsLabel::none) is left out.
  constexpr LabelStack(Netbase::MplsLabel label) { add(label); }
  constexpr LabelStack(std::uint32_t label) : LabelStack(Netbase::MplsLabel(label)) {}
  constexpr LabelStack(std::initializer_list<Netbase::MplsLabel> labels)
      : LabelStack(std::span(labels.begin(), labels.size())) {}
  explicit constexpr LabelStack(std::span<const Netbase::MplsLabel> labels) {
    for (const Netbase::MplsLabel label : labels) add(label);
  }

  constexpr std::size_t size() const { return size_; }
  constexpr bool empty() const { return size_ == 0; }
  /// The label at that depth, 0 for the outermost; MplsLabel::none where there is none.
  constexpr Netbase::MplsLabel label(std::size_t depth) const {
    if (depth >= size_) return {};
    const std::size_t at = depth * labelBytes;
    return std::uint32_t{bytes_[at]} << 16 | std::uint32_t{bytes_[at + 1]} << 8 | bytes_[at + 2];
  }

  /// Whether bytes that were read from elsewhere make a stack; see Forma::loadFlat.
  constexpr bool formaFlatOk() const {
    if (size_ > maxLabels()) return false;
    for (std::size_t i = 0; i < size_; ++i)
      if (bytes_[i * labelBytes] > Netbase::MplsLabel::max >> 16) return false;
    return true;
  }

  bool operator==(const LabelStack& o) const { return used() == o.used(); }
  std::strong_ordering operator<=>(const LabelStack& o) const { return used() <=> o.used(); }
  std::uint64_t hash() const { return Forma::hashBytes(bytes_.data(), used().size()); }

 private:
  static constexpr std::size_t labelBytes = 3;

  constexpr void add(Netbase::MplsLabel label) {
    if (label.value() != Netbase::MplsLabel::none) append(label);
  }
  constexpr void append(Netbase::MplsLabel label) {
    if (label.value() > Netbase::MplsLabel::max) throwNoLabel();
    if (size_ == maxLabels()) throwTooMany();
    const std::size_t at = size_++ * labelBytes;
    bytes_[at] = static_cast<std::uint8_t>(label.value() >> 16);
    bytes_[at + 1] = static_cast<std::uint8_t>(label.value() >> 8);
    bytes_[at + 2] = static_cast<std::uint8_t>(label.value());
  }
  /// In network order bytes compare as labels do.
  std::string_view used() const {
    return {reinterpret_cast<const char*>(bytes_.data()), size_ * labelBytes};
  }
  [[noreturn]] MPLS_EXPORT static void throwNoLabel();
  [[noreturn]] MPLS_EXPORT static void throwTooMany();

  std::uint8_t size_ = 0;
  std::array<std::uint8_t, 16 * labelBytes> bytes_{};
};

}  // namespace Mpls
