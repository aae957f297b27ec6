#include "agents/static-routes/MergedView.h"

#include <algorithm>
#include <utility>

namespace StaticRoutes {

namespace {

using Kind = Change::Kind;

Claimants sourcesOf(const Mpls::RouteConfigMergeSm& sm, const Mpls::RouteKey& key) {
  Claimants names;
  const auto* const set = sm.sourceSet(key);
  if (set == nullptr) return names;
  set->forEachSource([&](const Forma::Name& name) { names.emplace_back(name.view()); });
  std::ranges::sort(names);
  return names;
}

}  // namespace

std::optional<RouteView> routeAt(const Mpls::RouteConfigMergeSm& sm, const Mpls::RouteKey& key) {
  const Mpls::Route* const route = sm.mergedConfig()->routeFind(key);
  if (route == nullptr) return std::nullopt;
  const Claimants sources = sourcesOf(sm, key);
  RouteView view{sources.empty() ? std::string() : sources.front(), {}};
  for (const auto& one : route->viaIteratorConst()) view.vias.insert(one.key);
  return view;
}

Claimants claimantsOf(const Mpls::RouteConfigMergeSm& sm, const Mpls::RouteKey& key) {
  Claimants names = sourcesOf(sm, key);
  if (names.size() < 2) names.clear();
  return names;
}

MergeFollower::MergeFollower(Forma::Ptr<Mpls::RouteConfigMergeSm> sm,
                             const std::vector<Forma::Ptr<Mpls::RouteConfigInput>>& inputs)
    : sm_(std::move(sm)), mergedReactor_(*this) {
  mergedReactor_.notifierIs(sm_->mergedConfig());
  for (const auto& input : inputs) {
    inputReactors_.push_back(std::make_unique<InputReactor>(*this));
    inputReactors_.back()->notifierIs(input);
  }
  readAll();
}

void MergeFollower::readAll() {
  sm_->sourceSets().forEach([&](const Mpls::RouteKey& key, const auto& set) {
    if (auto route = routeAt(*sm_, key)) view_.routes.emplace(key, std::move(*route));
    if (set.sources() > 1) view_.conflicts.emplace(key, claimantsOf(*sm_, key));
  });
}

std::vector<Change> MergeFollower::takeChanges() {
  std::vector<Change> changes;
  for (const Mpls::RouteKey& key : std::exchange(told_, {})) {
    addRouteChange(changes, key);
    addConflictChange(changes, key);
  }
  return changes;
}

void MergeFollower::addRouteChange(std::vector<Change>& changes, const Mpls::RouteKey& key) {
  std::optional<RouteView> now = routeAt(*sm_, key);
  const auto shown = view_.routes.find(key);
  if (!now) {
    if (shown == view_.routes.end()) return;
    changes.push_back({Kind::routeRemoved, key, std::move(shown->second), {}});
    view_.routes.erase(shown);
    return;
  }
  const bool added = shown == view_.routes.end();
  if (!added && shown->second == *now) return;
  changes.push_back({added ? Kind::routeAdded : Kind::routeChanged, key, *now, {}});
  view_.routes.insert_or_assign(key, std::move(*now));
}

void MergeFollower::addConflictChange(std::vector<Change>& changes, const Mpls::RouteKey& key) {
  Claimants now = claimantsOf(*sm_, key);
  const auto shown = view_.conflicts.find(key);
  if (now.empty()) {
    if (shown == view_.conflicts.end()) return;
    changes.push_back({Kind::conflictEnded, key, {}, std::move(shown->second)});
    view_.conflicts.erase(shown);
    return;
  }
  const bool began = shown == view_.conflicts.end();
  if (!began && shown->second == now) return;
  changes.push_back({began ? Kind::conflictBegan : Kind::conflictChanged, key, {}, now});
  view_.conflicts.insert_or_assign(key, std::move(now));
}

}  // namespace StaticRoutes
