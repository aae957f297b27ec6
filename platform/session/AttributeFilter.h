/// Which attributes of an entity a copy leaves alone.
#pragma once

#include "platform/forma/Declare.h"

namespace Session {

/// A set of names of attributes, collections included.
///
/// Thread    one: that of the agent's event loop.
class MPLS_EXPORT AttributeFilter : public Forma::Entity {
  FORMA_ENTITY(Session::AttributeFilter, Forma::Entity, attribute)
  FORMA_NO_ARGUMENTS
  /// By name; membership is what counts, the flag is stored as given.
  FORMA_VALUES(Forma::Name, bool, attribute, newAttribute, onAttribute)

 public:
  class NotifieeConst : public Forma::NotifieeOf<AttributeFilter> {
   public:
    virtual void onAttribute(const Forma::Name& /*name*/) {}
  };
  using Notifiee = Forma::NotifieeMutable<AttributeFilter, NotifieeConst>;

  AttributeFilter() = default;
  ~AttributeFilter() override;
};

FORMA_FACTORY(attributeFilterFactory, AttributeFilter)

}  // namespace Session
