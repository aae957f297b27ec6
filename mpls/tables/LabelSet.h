/// Sets of labels, and where their bindings came from.
#pragma once

#include "mpls/types/FwdEqvClass.h"
#include "mpls/types/LabelSource.h"
#include "platform/forma/Declare.h"
#include "platform/netbase/MplsLabel.h"

namespace Mpls {

/// A set of labels of one source.
class MPLS_EXPORT MplsLabelSet : public Forma::NamedEntity {
  FORMA_ENTITY(Mpls::MplsLabelSet, Forma::NamedEntity, labelSource, mplsLabel)
  FORMA_ATTRIBUTE(LabelSource, labelSource, onLabelSource, ldpPeer_)
  /// The labels; what the flag means is its writer's and its readers' affair.
  FORMA_VALUES(Netbase::MplsLabel, bool, mplsLabel, newMplsLabel, onMplsLabel)

 public:
  class NotifieeConst : public Forma::NotifieeOf<MplsLabelSet> {
   public:
    virtual void onLabelSource() {}
    virtual void onMplsLabel(const Netbase::MplsLabel& /*label*/) {}
  };
  using Notifiee = Forma::NotifieeMutable<MplsLabelSet, NotifieeConst>;

  explicit MplsLabelSet(Forma::Name name) : NamedEntity(std::move(name)) {}
  ~MplsLabelSet() override;
};

/// A set of labels that tells when it last changed.
class MPLS_EXPORT MplsTimedLabelSet : public MplsLabelSet {
  FORMA_ENTITY(Mpls::MplsTimedLabelSet, MplsLabelSet, lastUpdate)
  /// Seconds on its writer's clock; the writer sets it. 0 means never.
  FORMA_ATTRIBUTE(double, lastUpdate, onLastUpdate)

 public:
  class NotifieeConst : public Forma::NotifieeOf<MplsTimedLabelSet, MplsLabelSet::NotifieeConst> {
   public:
    virtual void onLastUpdate() {}
  };
  using Notifiee = Forma::NotifieeMutable<MplsTimedLabelSet, NotifieeConst>;

  explicit MplsTimedLabelSet(Forma::Name name) : MplsLabelSet(std::move(name)) {}
  ~MplsTimedLabelSet() override;
};

/// The labels bound to one FEC (RFC 3031, section 3.1).
class MPLS_EXPORT FecLabelSet : public MplsTimedLabelSet {
  FORMA_ENTITY(Mpls::FecLabelSet, MplsTimedLabelSet)
  FORMA_KEY(FwdEqvClass, fwdEqvClass)
  FORMA_ARGUMENTS(name, fwdEqvClass)

 public:
  class NotifieeConst : public Forma::NotifieeOf<FecLabelSet, MplsTimedLabelSet::NotifieeConst> {};
  using Notifiee = Forma::NotifieeMutable<FecLabelSet, NotifieeConst>;

  FecLabelSet(Forma::Name name, FwdEqvClass fec)
      : MplsTimedLabelSet(std::move(name)), fwdEqvClass_(fec) {}
  /// Named after its FEC, as a table makes it.
  explicit FecLabelSet(FwdEqvClass fec) : FecLabelSet(Forma::valueToStrep(fec), fec) {}
  ~FecLabelSet() override;
};

FORMA_FACTORY(mplsLabelSetFactory, MplsLabelSet, Forma::Name)
FORMA_FACTORY(mplsTimedLabelSetFactory, MplsTimedLabelSet, Forma::Name)
FORMA_FACTORY(fecLabelSetFactory, FecLabelSet, Forma::Name, FwdEqvClass)

}  // namespace Mpls
