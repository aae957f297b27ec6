/// The row of a via that looks the packet's IP address up in a VRF.
#pragma once

#include <cstdint>
#include <string_view>

#include "mpls/lfib/LfibKeys.h"
#include "platform/forma/BoundedArray.h"
#include "platform/netbase/AddressFamily.h"
#include "platform/netbase/VrfName.h"

namespace Mpls {

/// The places of the bytes of a VRF's name, 0 to 100: there is room for one more than a name has.
FORMA_INDEX_RANGE(LfibVrfNameIndexRange, 100)

/// Stored as far as the name goes: 15 bytes and the name.
class LfibIpLookupVia {
  FORMA_VALUE(Mpls::LfibIpLookupVia, key, addressFamily, vrfNameBuffer)
  /// Of type viaTypeIpLookup.
  FORMA_FIELD(LfibViaKey, key)
  FORMA_FIELD(Netbase::AddressFamily, addressFamily, Netbase::afUnknown_)
  /// The bytes of the name; see vrfName().
  FORMA_BYTES_FIELD(LfibVrfNameIndexRange, vrfNameBuffer)
 public:
  LfibIpLookupVia() = default;
  explicit LfibIpLookupVia(LfibViaKey key) : key_(key) {}
  LfibIpLookupVia(LfibViaKey key, const L3::VrfName& vrfName, Netbase::AddressFamily addressFamily)
      : key_(key), addressFamily_(addressFamily) {
    vrfNameIs(vrfName);
  }

  /// The VRF; empty for the default one. Raises RangeException when the buffer was filled to its
  /// last place, by other means than vrfNameIs().
  L3::VrfName vrfName() const { return L3::VrfName(vrfNameBufferText()); }
  void vrfNameIs(const L3::VrfName& name) { vrfNameIs(name.name()); }
  /// The same from the bare name, of L3::VrfName::maxLength() bytes at most: a longer one ends the
  /// process.
  MPLS_EXPORT void vrfNameIs(std::string_view name);
};

}  // namespace Mpls
