/// How a configuration session copies the routes of an input: those that differ, one by one.
///
/// Thread    the agent's event thread; no other.
/// Outputs   the destination of the copy. A route that is in both is changed in place: the object
///           stays, and it has its new vias before it loses the old ones. Readers hear of the keys
///           that differ, and of no other.
/// Cost      a lookup for each route of the destination and of the source; a comparison for each
///           that is in both.
#pragma once

#include "mpls/entities/RouteConfig.h"
#include "platform/session/EntityCopy.h"

namespace Mpls {

/// The handler of Mpls::RouteConfigInput. The generic copy would come to the same routes, but goes
/// through each via of each of them by generic access.
class MPLS_EXPORT MplsConfigCopyHandler : public Session::EntityCopyHandler {
  FORMA_ENTITY(Mpls::MplsConfigCopyHandler, Session::EntityCopyHandler, filteredAttribute)
  FORMA_NO_ARGUMENTS
  /// What the generic copy leaves to the handler; there after initialize().
  FORMA_CHILD(Session::AttributeFilter, filteredAttribute, newFilteredAttribute,
              onFilteredAttribute)

 public:
  class NotifieeConst : public Forma::NotifieeOf<MplsConfigCopyHandler> {
   public:
    virtual void onFilteredAttribute() {}
  };
  using Notifiee = Forma::NotifieeMutable<MplsConfigCopyHandler, NotifieeConst>;

  MplsConfigCopyHandler() = default;
  ~MplsConfigCopyHandler() override;

  std::string_view handledType() const override { return RouteConfigInput::formaTypeName; }
  /// Makes the filter, which names the attribute "route".
  void initialize() override;
  /// Returns whether all but the routes was copied; what fails of the routes is entered in
  /// `entityCopy`, with the path of the route: `path`, ".route/", the key. Other types than
  /// RouteConfigInput raise NameException. Aborts when somebody is in the middle of a walk over the
  /// routes of either input ("!rrc->iter()").
  bool handleEntity(Session::EntityCopy& entityCopy, const Forma::Ptr<Forma::Entity>& dest,
                    const Forma::PtrConst<Forma::Entity>& src,
                    const Session::CopyPath& path) override;
};

FORMA_FACTORY(mplsConfigCopyHandlerFactory, MplsConfigCopyHandler)

}  // namespace Mpls
