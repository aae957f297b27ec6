/// What the forwarding agent says of routes that it cannot forward, beside LfibHwStatus.
#pragma once

#include "mpls/lfib/LfibHwReason.h"
#include "platform/tarn/FormaTarnMap.h"

namespace Mpls {

/// Written by the forwarding agent, in the directory of its LfibHwStatus. A route that is forwarded
/// has no row.
class MPLS_EXPORT LfibHwReasonStatus : public Forma::NamedEntity {
  FORMA_ENTITY(Mpls::LfibHwReasonStatus, Forma::NamedEntity, unprogrammedReason)
  FORMA_TABLE(UnprogrammedReasonKey, UnprogrammedReason, unprogrammedReason, newUnprogrammedReason,
              onUnprogrammedReason)

 public:
  class NotifieeConst : public Forma::NotifieeOf<LfibHwReasonStatus> {
   public:
    virtual void onUnprogrammedReason(const UnprogrammedReasonKey& /*key*/) {}
    /// The table as a whole.
    virtual void onUnprogrammedReason() {}
  };
  using Notifiee = Forma::NotifieeMutable<LfibHwReasonStatus, NotifieeConst>;

  explicit LfibHwReasonStatus(Forma::Name name) : NamedEntity(std::move(name)) {}
  ~LfibHwReasonStatus() override;
};

FORMA_FACTORY(lfibHwReasonStatusFactory, LfibHwReasonStatus, Forma::Name)

}  // namespace Mpls
