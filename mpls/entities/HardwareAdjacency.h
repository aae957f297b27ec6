/// Adjacencies as the forwarding hardware holds them. Each kind has indexes of its own.
#pragma once

#include <cstdint>

#include "mpls/types/L2ViaSet.h"
#include "mpls/types/LFibRoute.h"
#include "mpls/types/PwVia.h"
#include "platform/forma/Declare.h"

namespace Mpls::Hardware {

/// What the kinds have in common.
class MPLS_EXPORT AdjacencyBase : public Forma::Entity {
  FORMA_ENTITY(Mpls::Hardware::AdjacencyBase, Forma::Entity, unprogrammed)
  FORMA_NAMING_KEY(std::uint64_t, index)
  /// The hardware has not taken the adjacency.
  FORMA_ATTRIBUTE(bool, unprogrammed, onUnprogrammed)

 public:
  class NotifieeConst : public Forma::NotifieeOf<AdjacencyBase> {
   public:
    virtual void onUnprogrammed() {}
  };
  using Notifiee = Forma::NotifieeMutable<AdjacencyBase, NotifieeConst>;

  ~AdjacencyBase() override;

 protected:
  explicit AdjacencyBase(std::uint64_t index) : index_(index) {}
};

/// Frames that several routes send alike.
class MPLS_EXPORT L2Adjacency : public AdjacencyBase {
  FORMA_ENTITY(Mpls::Hardware::L2Adjacency, AdjacencyBase, l2ViaSet)
  FORMA_ATTRIBUTE(L2ViaSet, l2ViaSet, onL2ViaSet)

 public:
  class NotifieeConst : public Forma::NotifieeOf<L2Adjacency, AdjacencyBase::NotifieeConst> {
   public:
    virtual void onL2ViaSet() {}
  };
  using Notifiee = Forma::NotifieeMutable<L2Adjacency, NotifieeConst>;

  explicit L2Adjacency(std::uint64_t index) : AdjacencyBase(index) {}
  ~L2Adjacency() override;
};

/// Labelled next hops.
class MPLS_EXPORT Adjacency : public AdjacencyBase {
  FORMA_ENTITY(Mpls::Hardware::Adjacency, AdjacencyBase, via, l2Adjacency)
  FORMA_VALUES(Via, bool, via, newVia, onVia)
  /// One of Status::l2Adjacency, or none. To other processes it goes as it is when it is stored;
  /// they find what became of it by its index.
  FORMA_REFERENCE(L2Adjacency, l2Adjacency, onL2Adjacency)

 public:
  class NotifieeConst : public Forma::NotifieeOf<Adjacency, AdjacencyBase::NotifieeConst> {
   public:
    virtual void onVia(const Via& /*via*/) {}
    virtual void onL2Adjacency() {}
  };
  using Notifiee = Forma::NotifieeMutable<Adjacency, NotifieeConst>;

  explicit Adjacency(std::uint64_t index) : AdjacencyBase(index) {}
  ~Adjacency() override;
};

/// The other end of a pseudowire.
class MPLS_EXPORT PwAdjacency : public AdjacencyBase {
  FORMA_ENTITY(Mpls::Hardware::PwAdjacency, AdjacencyBase, via)
  FORMA_ATTRIBUTE(PwVia, via, onVia)

 public:
  class NotifieeConst : public Forma::NotifieeOf<PwAdjacency, AdjacencyBase::NotifieeConst> {
   public:
    virtual void onVia() {}
  };
  using Notifiee = Forma::NotifieeMutable<PwAdjacency, NotifieeConst>;

  explicit PwAdjacency(std::uint64_t index) : AdjacencyBase(index) {}
  ~PwAdjacency() override;
};

/// A FEC that the FIB programs.
class MPLS_EXPORT ExtFecAdjacency : public AdjacencyBase {
  FORMA_ENTITY(Mpls::Hardware::ExtFecAdjacency, AdjacencyBase, fecId, labelAction, payloadType)
  FORMA_ATTRIBUTE(FecId, fecId, onFecId)
  FORMA_ATTRIBUTE(Netbase::MplsLabelAction, labelAction, onLabelAction,
                  Netbase::undefinedLabelAction_)
  FORMA_ATTRIBUTE(PayloadType, payloadType, onPayloadType, undefinedPayload_)

 public:
  class NotifieeConst : public Forma::NotifieeOf<ExtFecAdjacency, AdjacencyBase::NotifieeConst> {
   public:
    virtual void onFecId() {}
    virtual void onLabelAction() {}
    virtual void onPayloadType() {}
  };
  using Notifiee = Forma::NotifieeMutable<ExtFecAdjacency, NotifieeConst>;

  explicit ExtFecAdjacency(std::uint64_t index) : AdjacencyBase(index) {}
  ~ExtFecAdjacency() override;
};

/// The adjacencies of the routes of one label, by metric.
class MPLS_EXPORT AdjacencySet : public AdjacencyBase {
  FORMA_ENTITY(Mpls::Hardware::AdjacencySet, AdjacencyBase, adjacency, bestMetric)
  /// Of Status::adjacency. To other processes each goes as it is when it is stored; they find what
  /// became of it by its index.
  FORMA_REFERENCES(RouteMetric, Adjacency, adjacency, newAdjacency, onAdjacency)
  /// That of the adjacency in use.
  FORMA_ATTRIBUTE(RouteMetric, bestMetric, onBestMetric)

 public:
  class NotifieeConst : public Forma::NotifieeOf<AdjacencySet, AdjacencyBase::NotifieeConst> {
   public:
    virtual void onAdjacency(const RouteMetric& /*metric*/) {}
    virtual void onBestMetric() {}
  };
  using Notifiee = Forma::NotifieeMutable<AdjacencySet, NotifieeConst>;

  explicit AdjacencySet(std::uint64_t index) : AdjacencyBase(index) {}
  ~AdjacencySet() override;
};

}  // namespace Mpls::Hardware
