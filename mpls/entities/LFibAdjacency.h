/// What routes of the LFIB lead to: adjacencies, by kind, each with an index of its own.
///
/// What an adjacency is made from never changes. New content takes a new index: hand that out by
/// MplsHelper::LfibGenAdjIdxAllocator.
#pragma once

#include <cstdint>
#include <utility>

#include "mpls/types/LFibRoute.h"
#include "mpls/types/PayloadType.h"
#include "mpls/types/PwVia.h"
#include "mpls/types/ViaSet.h"
#include "platform/forma/Declare.h"
#include "platform/netbase/MplsLabelAction.h"

namespace Mpls::LFib {

/// What the kinds have in common. There may be 100,000 of them: 48 bytes each, and their vias.
class MPLS_EXPORT AdjacencyBase : public Forma::Entity {
  FORMA_ENTITY(Mpls::LFib::AdjacencyBase, Forma::Entity)
  FORMA_NAMING_KEY(std::uint64_t, index)

 public:
  class NotifieeConst : public Forma::NotifieeOf<AdjacencyBase> {};
  using Notifiee = Forma::NotifieeMutable<AdjacencyBase, NotifieeConst>;

  ~AdjacencyBase() override;
  /// The collection of Mpls::Status that holds adjacencies of this kind.
  virtual AdjacencyType adjType() const = 0;

 protected:
  explicit AdjacencyBase(std::uint64_t index) : index_(index) {}
};

/// Labelled next hops.
class MPLS_EXPORT Adjacency : public AdjacencyBase {
  FORMA_ENTITY(Mpls::LFib::Adjacency, AdjacencyBase)
  FORMA_FIXED(ViaSet, viaSet)
  FORMA_ARGUMENTS(index, viaSet)

 public:
  class NotifieeConst : public Forma::NotifieeOf<Adjacency, AdjacencyBase::NotifieeConst> {};
  using Notifiee = Forma::NotifieeMutable<Adjacency, NotifieeConst>;

  Adjacency(std::uint64_t index, ViaSet viaSet)
      : AdjacencyBase(index), viaSet_(std::move(viaSet)) {}
  ~Adjacency() override;
  AdjacencyType adjType() const override { return mplsIp_; }
};

/// The other end of a pseudowire.
class MPLS_EXPORT PwAdjacency : public AdjacencyBase {
  FORMA_ENTITY(Mpls::LFib::PwAdjacency, AdjacencyBase)
  FORMA_FIXED(PwVia, via)
  FORMA_ARGUMENTS(index, via)

 public:
  class NotifieeConst : public Forma::NotifieeOf<PwAdjacency, AdjacencyBase::NotifieeConst> {};
  using Notifiee = Forma::NotifieeMutable<PwAdjacency, NotifieeConst>;

  PwAdjacency(std::uint64_t index, PwVia via) : AdjacencyBase(index), via_(via) {}
  ~PwAdjacency() override;
  AdjacencyType adjType() const override { return mplsPseudowire_; }
};

/// A FEC that the FIB programs.
class MPLS_EXPORT ExtFecAdjacency : public AdjacencyBase {
  FORMA_ENTITY(Mpls::LFib::ExtFecAdjacency, AdjacencyBase, payloadType)
  FORMA_FIXED(FecId, fecId)
  /// Done to the label before the packet goes to the FEC.
  FORMA_FIXED(Netbase::MplsLabelAction, labelAction)
  FORMA_ARGUMENTS(index, fecId, labelAction)
  /// What is behind a label that is popped.
  FORMA_ATTRIBUTE(PayloadType, payloadType, onPayloadType, undefinedPayload_)

 public:
  class NotifieeConst : public Forma::NotifieeOf<ExtFecAdjacency, AdjacencyBase::NotifieeConst> {
   public:
    virtual void onPayloadType() {}
  };
  using Notifiee = Forma::NotifieeMutable<ExtFecAdjacency, NotifieeConst>;

  ExtFecAdjacency(std::uint64_t index, FecId fecId, Netbase::MplsLabelAction labelAction)
      : AdjacencyBase(index), fecId_(fecId), labelAction_(labelAction) {}
  ~ExtFecAdjacency() override;
  AdjacencyType adjType() const override { return mplsExternalFec_; }
};

}  // namespace Mpls::LFib
