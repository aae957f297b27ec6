/// The rows of the LDP tables in shared memory: one for each fact, with the key in it.
///
/// Keys are ordered by their fields as they stand here.
#pragma once

#include <compare>

#include "ldp/LdpIdentifier.h"
#include "ldp/Namespace.h"
#include "mpls/types/FecFilteredState.h"
#include "mpls/types/FwdEqvClass.h"
#include "platform/netbase/MplsLabel.h"

namespace Ldp::LdpTarn {

/// A label of this router, bound to a FEC.
class LdpLocalLbtKey {
  FORMA_VALUE(Ldp::LdpTarn::LdpLocalLbtKey, fwdEqvClass, label)
  FORMA_FIELD(Mpls::FwdEqvClass, fwdEqvClass)
  FORMA_FIELD(Netbase::MplsLabel, label)
 public:
  constexpr LdpLocalLbtKey() = default;
  constexpr LdpLocalLbtKey(Mpls::FwdEqvClass fwdEqvClass, Netbase::MplsLabel label)
      : fwdEqvClass_(fwdEqvClass), label_(label) {}
  constexpr auto operator<=>(const LdpLocalLbtKey&) const = default;
};

/// There as long as the label is bound.
class LdpLocalLbt {
  FORMA_VALUE(Ldp::LdpTarn::LdpLocalLbt, key)
  FORMA_FIELD(LdpLocalLbtKey, key)
 public:
  constexpr LdpLocalLbt() = default;
  explicit constexpr LdpLocalLbt(LdpLocalLbtKey key) : key_(key) {}
};

/// A FEC whose binding was advertised to a peer.
class LdpLocalLbtAdvertisedToKey {
  FORMA_VALUE(Ldp::LdpTarn::LdpLocalLbtAdvertisedToKey, fwdEqvClass, ldpIdentifier)
  FORMA_FIELD(Mpls::FwdEqvClass, fwdEqvClass)
  FORMA_FIELD(LdpIdentifier, ldpIdentifier)
 public:
  constexpr LdpLocalLbtAdvertisedToKey() = default;
  constexpr LdpLocalLbtAdvertisedToKey(Mpls::FwdEqvClass fwdEqvClass, LdpIdentifier ldpIdentifier)
      : fwdEqvClass_(fwdEqvClass), ldpIdentifier_(ldpIdentifier) {}
  constexpr auto operator<=>(const LdpLocalLbtAdvertisedToKey&) const = default;
};

class LdpLocalLbtAdvertisedTo {
  FORMA_VALUE(Ldp::LdpTarn::LdpLocalLbtAdvertisedTo, key)
  FORMA_FIELD(LdpLocalLbtAdvertisedToKey, key)
 public:
  constexpr LdpLocalLbtAdvertisedTo() = default;
  explicit constexpr LdpLocalLbtAdvertisedTo(LdpLocalLbtAdvertisedToKey key) : key_(key) {}
};

/// What the filter of this router says of a FEC.
class LdpLocalLbtFilterState {
  FORMA_VALUE(Ldp::LdpTarn::LdpLocalLbtFilterState, key, fecFilteredState)
  FORMA_FIELD(Mpls::FwdEqvClass, key)
  FORMA_FIELD(Mpls::FecFilteredState, fecFilteredState, Mpls::fecFilteredStateUnknown_)
 public:
  constexpr LdpLocalLbtFilterState() = default;
  constexpr LdpLocalLbtFilterState(Mpls::FwdEqvClass key, Mpls::FecFilteredState fecFilteredState)
      : key_(key), fecFilteredState_(fecFilteredState) {}
};

/// A label that a peer bound to a FEC.
class LdpPeerLbtKey {
  FORMA_VALUE(Ldp::LdpTarn::LdpPeerLbtKey, ldpIdentifier, fwdEqvClass, label)
  FORMA_FIELD(LdpIdentifier, ldpIdentifier)
  FORMA_FIELD(Mpls::FwdEqvClass, fwdEqvClass)
  FORMA_FIELD(Netbase::MplsLabel, label)
 public:
  constexpr LdpPeerLbtKey() = default;
  constexpr LdpPeerLbtKey(LdpIdentifier ldpIdentifier, Mpls::FwdEqvClass fwdEqvClass,
                          Netbase::MplsLabel label)
      : ldpIdentifier_(ldpIdentifier), fwdEqvClass_(fwdEqvClass), label_(label) {}
  constexpr auto operator<=>(const LdpPeerLbtKey&) const = default;
};

/// There as long as the label is bound.
class LdpPeerLbt {
  FORMA_VALUE(Ldp::LdpTarn::LdpPeerLbt, key)
  FORMA_FIELD(LdpPeerLbtKey, key)
 public:
  constexpr LdpPeerLbt() = default;
  explicit constexpr LdpPeerLbt(LdpPeerLbtKey key) : key_(key) {}
};

/// A FEC of a peer.
class LdpPeerLbtFilterStateKey {
  FORMA_VALUE(Ldp::LdpTarn::LdpPeerLbtFilterStateKey, ldpIdentifier, fwdEqvClass)
  FORMA_FIELD(LdpIdentifier, ldpIdentifier)
  FORMA_FIELD(Mpls::FwdEqvClass, fwdEqvClass)
 public:
  constexpr LdpPeerLbtFilterStateKey() = default;
  constexpr LdpPeerLbtFilterStateKey(LdpIdentifier ldpIdentifier, Mpls::FwdEqvClass fwdEqvClass)
      : ldpIdentifier_(ldpIdentifier), fwdEqvClass_(fwdEqvClass) {}
  constexpr auto operator<=>(const LdpPeerLbtFilterStateKey&) const = default;
};

/// What the filter says of a FEC of a peer.
class LdpPeerLbtFilterState {
  FORMA_VALUE(Ldp::LdpTarn::LdpPeerLbtFilterState, key, fecFilteredState)
  FORMA_FIELD(LdpPeerLbtFilterStateKey, key)
  FORMA_FIELD(Mpls::FecFilteredState, fecFilteredState, Mpls::fecFilteredStateUnknown_)
 public:
  constexpr LdpPeerLbtFilterState() = default;
  constexpr LdpPeerLbtFilterState(LdpPeerLbtFilterStateKey key,
                                  Mpls::FecFilteredState fecFilteredState)
      : key_(key), fecFilteredState_(fecFilteredState) {}
};

}  // namespace Ldp::LdpTarn
