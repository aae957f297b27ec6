/// What the forwarding hardware was programmed with.
#pragma once

#include "mpls/entities/HardwareAdjacency.h"

namespace Mpls::Hardware {

/// A route names its adjacency by kind and index (`adjBaseKey`).
class MPLS_EXPORT Status : public Forma::NamedEntity {
  FORMA_ENTITY(Mpls::Hardware::Status, Forma::NamedEntity, route, adjacency, l2Adjacency,
               pwAdjacency, extFecAdjacency, adjacencySet, nexthopResolutionAllowDefaultRoute)
  FORMA_KEYED_VALUES(Netbase::MplsLabel, Route, label, route, newRoute, onRoute)
  FORMA_CHILDREN(std::uint64_t, Adjacency, adjacency, newAdjacency, onAdjacency)
  FORMA_CHILDREN(std::uint64_t, L2Adjacency, l2Adjacency, newL2Adjacency, onL2Adjacency)
  FORMA_CHILDREN(std::uint64_t, PwAdjacency, pwAdjacency, newPwAdjacency, onPwAdjacency)
  FORMA_CHILDREN(std::uint64_t, ExtFecAdjacency, extFecAdjacency, newExtFecAdjacency,
                 onExtFecAdjacency)
  FORMA_CHILDREN(std::uint64_t, AdjacencySet, adjacencySet, newAdjacencySet, onAdjacencySet)
  /// Whether the next hop of a route may be resolved through the default route.
  FORMA_ATTRIBUTE(bool, nexthopResolutionAllowDefaultRoute, onNexthopResolutionAllowDefaultRoute)

 public:
  class NotifieeConst : public Forma::NotifieeOf<Status> {
   public:
    virtual void onRoute(const Netbase::MplsLabel& /*label*/) {}
    virtual void onAdjacency(const std::uint64_t& /*index*/) {}
    virtual void onL2Adjacency(const std::uint64_t& /*index*/) {}
    virtual void onPwAdjacency(const std::uint64_t& /*index*/) {}
    virtual void onExtFecAdjacency(const std::uint64_t& /*index*/) {}
    virtual void onAdjacencySet(const std::uint64_t& /*index*/) {}
    virtual void onNexthopResolutionAllowDefaultRoute() {}
  };
  using Notifiee = Forma::NotifieeMutable<Status, NotifieeConst>;

  explicit Status(Forma::Name name) : NamedEntity(std::move(name)) {}
  ~Status() override;

  /// The adjacency of that kind and index; null when it is not there. Aborts when the kind is
  /// mplsUnknown.
  Forma::Ptr<AdjacencyBase> adjacencyBase(const AdjacencyBaseKey& key) const;
};

FORMA_FACTORY(statusFactory, Status, Forma::Name)

}  // namespace Mpls::Hardware
