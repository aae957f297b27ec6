/// One static MPLS route.
#pragma once

#include "mpls/types/RouteKey.h"
#include "mpls/types/Via.h"
#include "platform/forma/Declare.h"

namespace Mpls {

/// Made by the RouteConfigInput that owns it. There may be a million of them: see the memory figure
/// of bench/MergeBench.cc before adding a member.
class MPLS_EXPORT Route : public Forma::Entity {
  FORMA_ENTITY(Mpls::Route, Forma::Entity, via, dynamic)
  FORMA_NAMING_KEY(RouteKey, key)
  /// Marks the route as dynamically configured.
  FORMA_ATTRIBUTE(bool, dynamic, onDynamic)
  /// The next hops; membership is what counts, the flag is stored as given.
  FORMA_VALUES(Via, bool, via, newVia, onVia)

 public:
  class NotifieeConst : public Forma::NotifieeOf<Route> {
   public:
    virtual void onVia(const Via& /*via*/) {}
    virtual void onDynamic() {}
  };
  using Notifiee = Forma::NotifieeMutable<Route, NotifieeConst>;

  explicit Route(RouteKey key) : key_(key) {}
  ~Route() override;

  /// Whether everything but the key is the same. Copies nothing.
  bool sameContent(const Route& other) const;
};

FORMA_FACTORY(routeFactory, Route, RouteKey)

}  // namespace Mpls
