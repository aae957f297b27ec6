#include "mpls/routeconfig/MplsConfigCopyHandler.h"

#include "platform/forma/Assert.h"
#include "platform/forma/Trace.h"

namespace Mpls {

FORMA_DEFINE_ENTITY(MplsConfigCopyHandler)

namespace {

Forma::TraceHandle trace("MplsConfigCopyHandler");

constexpr std::string_view routeAttribute = "route";

/// A walk that is open would go on over routes that the step changes.
void assertNotWalked(const RouteConfigInput* rrc) {
  FORMA_ASSERT_TEXT(!rrc->iter(), "!rrc->iter()", "the routes are copied while they are walked");
}

/// Deletes the routes that `src` does not have.
void deleteOthers(Session::EntityCopy& copy, RouteConfigInput& dest, const RouteConfigInput& src,
                  const Session::CopyPath& path) {
  for (const auto& one : dest.routeIteratorConst())
    if (!src.routeFind(one.key))
      copy.attempt({path, routeAttribute, one.value.get()}, [&] { dest.routeDel(one.key); });
}

void copyRoute(Session::EntityCopy& copy, RouteConfigInput& dest,
               const Forma::PtrConst<Route>& route, const Session::CopyPath& path) {
  FORMA_TRACE(trace, 1, "handleEntity", " Copying route ", route->key());
  copy.attempt(path, [&] { copy.copyAttributes(dest.routeIs(route->key()), route, path); });
}

/// Copies the routes that `dest` does not have like that.
void copyRoutes(Session::EntityCopy& copy, RouteConfigInput& dest, const RouteConfigInput& src,
                const Session::CopyPath& path) {
  for (const auto& one : src.routeIteratorConst()) {
    const Route* const there = dest.routeFind(one.key);
    if (!there || !there->sameContent(*one.value))
      copyRoute(copy, dest, one.value, {path, routeAttribute, one.value.get()});
  }
}

template <class T, class U>
Forma::Ptr<T> inputFrom(const Forma::Ptr<U>& entity) {
  auto input = Forma::ptrCast<T>(Forma::validPtr(entity));
  if (!input) Forma::throwNotA(*entity, RouteConfigInput::formaTypeName);
  return input;
}

}  // namespace

MplsConfigCopyHandler::~MplsConfigCopyHandler() = default;

void MplsConfigCopyHandler::initialize() {
  newFilteredAttribute()->newAttribute(Forma::Name(routeAttribute), true);
}

bool MplsConfigCopyHandler::handleEntity(Session::EntityCopy& entityCopy,
                                         const Forma::Ptr<Forma::Entity>& dest,
                                         const Forma::PtrConst<Forma::Entity>& src,
                                         const Session::CopyPath& path) {
  const auto from = inputFrom<RouteConfigInput const>(src);
  const auto to = inputFrom<RouteConfigInput>(dest);
  FORMA_TRACE(trace, 8, "handleEntity", " ", from->fullName(), "-->", to->fullName());
  const bool copied = entityCopy.copyAttributes(to, from, path, filteredAttribute());
  if (from == to) return copied;
  const auto step = [&](auto copies) {
    assertNotWalked(to.get());
    assertNotWalked(from.get());
    copies(entityCopy, *to, *from, path);
  };
  step(deleteOthers);
  step(copyRoutes);
  return copied;
}

}  // namespace Mpls
