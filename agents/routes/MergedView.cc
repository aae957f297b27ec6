#include "agents/routes/MergedView.h"

#include <algorithm>
#include <utility>

namespace StaticRoutes {

namespace {

using Kind = Change::Kind;

bool states(const Mpls::Route& route, const Vias& vias) {
  return route.vias() == vias.size() &&
         std::ranges::all_of(vias, [&](const Mpls::Via& via) { return route.viaFind(via); });
}

}  // namespace

MergeFollower::MergeFollower(Forma::Ptr<Mpls::RouteConfig const> merged,
                             std::vector<NamedInput> inputs)
    : merged_(std::move(merged)), mergedReactor_(*this) {
  mergedReactor_.notifierIs(merged_);
  for (NamedInput& input : inputs) watch(std::move(input));
  for (const auto& one : merged_->routeIteratorConst())
    if (auto route = routeAt(one.key)) view_.routes.emplace(one.key, std::move(*route));
  for (const NamedInput& input : inputs_)
    for (const auto& one : input.input->routeIteratorConst())
      if (Claimants names = claimantsOf(one.key); !names.empty())
        view_.conflicts.emplace(one.key, std::move(names));
}

void MergeFollower::inputIs(NamedInput input) {
  for (const auto& one : input.input->routeIteratorConst()) told_.insert(one.key);
  watch(std::move(input));
}

void MergeFollower::watch(NamedInput input) {
  inputReactors_.push_back(std::make_unique<InputReactor>(*this));
  inputReactors_.back()->notifierIs(input.input);
  inputs_.insert(std::ranges::upper_bound(inputs_, input.name, {}, &NamedInput::name),
                 std::move(input));
}

std::optional<RouteView> MergeFollower::routeAt(const Mpls::RouteKey& key) const {
  const Mpls::Route* const route = merged_->routeFind(key);
  if (route == nullptr) return std::nullopt;
  RouteView view;
  for (const auto& one : route->viaIteratorConst()) view.vias.insert(one.key);
  view.source = sourceOf(key, view.vias);
  return view;
}

/// The input that states the route as it was merged. When there is no telling, because the merge
/// has not heard of the latest change yet, the source stays as it was shown.
std::string MergeFollower::sourceOf(const Mpls::RouteKey& key, const Vias& vias) const {
  const NamedInput* source = nullptr;
  std::size_t count = 0;
  for (const NamedInput& input : inputs_) {
    const Mpls::Route* const route = input.input->routeFind(key);
    if (route == nullptr || !states(*route, vias)) continue;
    source = &input;
    ++count;
  }
  if (count == 1) return source->name;
  const auto shown = view_.routes.find(key);
  return shown == view_.routes.end() ? std::string() : shown->second.source;
}

Claimants MergeFollower::claimantsOf(const Mpls::RouteKey& key) const {
  Claimants names;
  for (const NamedInput& input : inputs_)
    if (input.input->routeFind(key) != nullptr) names.push_back(input.name);
  if (names.size() < 2) names.clear();
  return names;
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
  std::optional<RouteView> now = routeAt(key);
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
  Claimants now = claimantsOf(key);
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
