/// The sets of the reverse maps that LfibTrackingSm keeps: hundreds of thousands, of a few keys
/// each. Each is called by the text of the key that it belongs to, and is never empty.
///
/// Thread    that of the machine.
/// Memory    56 bytes, and one block for all keys; a block of one key takes some 50 bytes.
#pragma once

#include "mpls/lfib/LfibKeys.h"
#include "mpls/types/RouteKey.h"
#include "platform/forma/Declare.h"

namespace Mpls {

/// The routes that name one via set.
class MPLS_EXPORT LfibViaSetKeyToRouteKeySet : public Forma::Entity {
  FORMA_ENTITY(Mpls::LfibViaSetKeyToRouteKeySet, Forma::Entity, routeKey)
  FORMA_NAMING_KEY(LfibViaSetKey, key)
  FORMA_VALUES(RouteKey, bool, routeKey, newRouteKey, onRouteKey)

 public:
  class NotifieeConst : public Forma::NotifieeOf<LfibViaSetKeyToRouteKeySet> {
   public:
    virtual void onRouteKey(const RouteKey& /*key*/) {}
  };
  using Notifiee = Forma::NotifieeMutable<LfibViaSetKeyToRouteKeySet, NotifieeConst>;

  explicit LfibViaSetKeyToRouteKeySet(LfibViaSetKey key) : key_(key) {}
  ~LfibViaSetKeyToRouteKeySet() override;
};

/// The vias of one via set.
class MPLS_EXPORT LfibViaSetKeyToLfibViaKeySet : public Forma::Entity {
  FORMA_ENTITY(Mpls::LfibViaSetKeyToLfibViaKeySet, Forma::Entity, viaKey)
  FORMA_NAMING_KEY(LfibViaSetKey, key)
  FORMA_VALUES(LfibViaKey, bool, viaKey, newViaKey, onViaKey)

 public:
  class NotifieeConst : public Forma::NotifieeOf<LfibViaSetKeyToLfibViaKeySet> {
   public:
    virtual void onViaKey(const LfibViaKey& /*key*/) {}
  };
  using Notifiee = Forma::NotifieeMutable<LfibViaSetKeyToLfibViaKeySet, NotifieeConst>;

  explicit LfibViaSetKeyToLfibViaKeySet(LfibViaSetKey key) : key_(key) {}
  ~LfibViaSetKeyToLfibViaKeySet() override;
};

/// The via sets that hold one via.
class MPLS_EXPORT LfibViaKeyToLfibViaSetKeySet : public Forma::Entity {
  FORMA_ENTITY(Mpls::LfibViaKeyToLfibViaSetKeySet, Forma::Entity, viaSetKey)
  FORMA_NAMING_KEY(LfibViaKey, key)
  FORMA_VALUES(LfibViaSetKey, bool, viaSetKey, newViaSetKey, onViaSetKey)

 public:
  class NotifieeConst : public Forma::NotifieeOf<LfibViaKeyToLfibViaSetKeySet> {
   public:
    virtual void onViaSetKey(const LfibViaSetKey& /*key*/) {}
  };
  using Notifiee = Forma::NotifieeMutable<LfibViaKeyToLfibViaSetKeySet, NotifieeConst>;

  explicit LfibViaKeyToLfibViaSetKeySet(LfibViaKey key) : key_(key) {}
  ~LfibViaKeyToLfibViaSetKeySet() override;
};

}  // namespace Mpls
