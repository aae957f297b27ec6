/// The labels that are not switched to a next hop: they are popped, and the packet's IP address is
/// looked up in a VRF.
#pragma once

#include <compare>

#include "mpls/types/Namespace.h"
#include "platform/forma/Declare.h"
#include "platform/netbase/AddressFamily.h"
#include "platform/netbase/MplsLabel.h"
#include "platform/netbase/VrfName.h"

namespace Mpls {

/// Where the packets of one label are looked up.
class LfibIpLookupStatusLabelVrfAf {
  FORMA_VALUE(Mpls::LfibIpLookupStatusLabelVrfAf, label, vrfName, addressFamily)
  FORMA_FIELD(Netbase::MplsLabel, label)
  /// Empty for the default VRF.
  FORMA_FIELD(L3::VrfName, vrfName)
  FORMA_FIELD(Netbase::AddressFamily, addressFamily, Netbase::afUnknown_)
 public:
  constexpr LfibIpLookupStatusLabelVrfAf() = default;
  constexpr LfibIpLookupStatusLabelVrfAf(Netbase::MplsLabel label, const L3::VrfName& vrfName,
                                         Netbase::AddressFamily addressFamily)
      : label_(label), vrfName_(vrfName), addressFamily_(addressFamily) {}
  constexpr auto operator<=>(const LfibIpLookupStatusLabelVrfAf&) const = default;
};

/// Written by LfibIpLookupSm.
class MPLS_EXPORT LfibIpLookupStatus : public Forma::NamedEntity {
  FORMA_ENTITY(Mpls::LfibIpLookupStatus, Forma::NamedEntity, labelVrfAf)
  /// A set; of each label one value at a time.
  FORMA_VALUES(LfibIpLookupStatusLabelVrfAf, bool, labelVrfAf, newLabelVrfAf, onLabelVrfAf)

 public:
  class NotifieeConst : public Forma::NotifieeOf<LfibIpLookupStatus> {
   public:
    /// `value` came or went. When the VRF or the family of a label changes its old value goes
    /// before the new one comes.
    virtual void onLabelVrfAf(const LfibIpLookupStatusLabelVrfAf& /*value*/) {}
  };
  using Notifiee = Forma::NotifieeMutable<LfibIpLookupStatus, NotifieeConst>;

  explicit LfibIpLookupStatus(Forma::Name name) : NamedEntity(std::move(name)) {}
  ~LfibIpLookupStatus() override;
};

FORMA_FACTORY(lfibIpLookupStatusFactory, LfibIpLookupStatus, Forma::Name)

}  // namespace Mpls
