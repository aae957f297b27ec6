/// Static MPLS routes: as each source states them, and merged.
#pragma once

#include "mpls/entities/Route.h"

namespace Mpls {

/// The routes of one source, which owns them. A change of one route's content (its vias, its flag)
/// is told as a change of `route` with its key, so that whoever watches the input sees all.
class MPLS_EXPORT RouteConfigInput : public Forma::NamedEntity {
  FORMA_ENTITY(Mpls::RouteConfigInput, Forma::NamedEntity, route)
  FORMA_SURFACING_CHILDREN(RouteKey, Route, route, newRoute, onRoute)

 public:
  class NotifieeConst : public Forma::NotifieeOf<RouteConfigInput> {
   public:
    /// The route at `key` came, went or changed; read route(key) to see which.
    virtual void onRoute(const RouteKey& /*key*/) {}
  };
  using Notifiee = Forma::NotifieeMutable<RouteConfigInput, NotifieeConst>;

  explicit RouteConfigInput(Forma::Name name) : NamedEntity(std::move(name)) {}
  ~RouteConfigInput() override;

  /// Whether an iterator of `route` is open: somebody is in the middle of a walk.
  bool iter() const { return route_.map.openWalks() != 0; }
};

/// The effective routes of the switch: each is the route of the one source that states its key.
class MPLS_EXPORT RouteConfig : public Forma::NamedEntity {
  FORMA_ENTITY(Mpls::RouteConfig, Forma::NamedEntity, route, ready)
  FORMA_REFERENCES(RouteKey, Route const, route, newRoute, onRoute)
  /// Set once every source that was there at start has been merged; never reset.
  FORMA_ATTRIBUTE(bool, ready, onReady)

 public:
  class NotifieeConst : public Forma::NotifieeOf<RouteConfig> {
   public:
    /// The route at `key` came, went or changed; read route(key) to see which.
    virtual void onRoute(const RouteKey& /*key*/) {}
    virtual void onReady() {}
  };
  using Notifiee = Forma::NotifieeMutable<RouteConfig, NotifieeConst>;

  explicit RouteConfig(Forma::Name name) : NamedEntity(std::move(name)) {}
  ~RouteConfig() override;
};

FORMA_FACTORY(routeConfigInputFactory, RouteConfigInput, Forma::Name)
FORMA_FACTORY(routeConfigFactory, RouteConfig, Forma::Name)

}  // namespace Mpls
