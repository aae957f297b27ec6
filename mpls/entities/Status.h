/// The MPLS agent's view of the LFIB: routes, and the adjacencies that they lead to.
#pragma once

#include "mpls/entities/LFibAdjacency.h"

namespace Mpls {

/// A route names its adjacency by kind and index (`adjKey`); the kind says which collection holds
/// it. Nothing counts references: an adjacency that is named may not be there.
///
/// Memory    bench/StatusBench.cc has the bytes of a route and of an adjacency.
class MPLS_EXPORT Status : public Forma::NamedEntity {
  FORMA_ENTITY(Mpls::Status, Forma::NamedEntity, agentEnabled, nexthopResolutionAllowDefaultRoute,
               lfibRoute, lfibAdjacency, lfibPwAdjacency, lfibExtFecAdjacency)
  FORMA_ATTRIBUTE(bool, agentEnabled, onAgentEnabled)
  /// Whether the next hop of a route may be resolved through the default route.
  FORMA_ATTRIBUTE(bool, nexthopResolutionAllowDefaultRoute, onNexthopResolutionAllowDefaultRoute)
  FORMA_KEYED_VALUES(RouteKey, LFib::Route, routeKey, lfibRoute, newLfibRoute, onLfibRoute)
  /// Made from index and ViaSet.
  FORMA_CHILDREN(std::uint64_t, LFib::Adjacency, lfibAdjacency, newLfibAdjacency, onLfibAdjacency)
  /// Made from index and PwVia.
  FORMA_CHILDREN(std::uint64_t, LFib::PwAdjacency, lfibPwAdjacency, newLfibPwAdjacency,
                 onLfibPwAdjacency)
  /// Made from index, FecId and label action.
  FORMA_CHILDREN(std::uint64_t, LFib::ExtFecAdjacency, lfibExtFecAdjacency, newLfibExtFecAdjacency,
                 onLfibExtFecAdjacency)

 public:
  class NotifieeConst : public Forma::NotifieeOf<Status> {
   public:
    virtual void onAgentEnabled() {}
    virtual void onNexthopResolutionAllowDefaultRoute() {}
    virtual void onLfibRoute(const RouteKey& /*key*/) {}
    virtual void onLfibAdjacency(const std::uint64_t& /*index*/) {}
    virtual void onLfibPwAdjacency(const std::uint64_t& /*index*/) {}
    virtual void onLfibExtFecAdjacency(const std::uint64_t& /*index*/) {}
  };
  using Notifiee = Forma::NotifieeMutable<Status, NotifieeConst>;

  explicit Status(Forma::Name name) : NamedEntity(std::move(name)) {}
  ~Status() override;

  /// The adjacency of a route, of any kind; null when it is not there, or the route names none.
  Forma::Ptr<LFib::AdjacencyBase> getAdjacencyBase(const LFib::Route& route) const;
  /// The same for a route that names none, or an adjacency of this kind; aborts when it names one
  /// of another kind.
  Forma::Ptr<LFib::Adjacency> getAdjacency(const LFib::Route& route) const;
  Forma::Ptr<LFib::PwAdjacency> getPwAdjacency(const LFib::Route& route) const;
  Forma::Ptr<LFib::ExtFecAdjacency> getExtFecAdjacency(const LFib::Route& route) const;
};

FORMA_FACTORY(statusFactory, Status, Forma::Name)

}  // namespace Mpls
