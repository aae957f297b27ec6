#include "mpls/lfib/LfibStaticRouteSm.h"

#include <algorithm>
#include <utility>

#include "platform/forma/Trace.h"

namespace Mpls {

namespace {

Forma::TraceHandle trace("LfibStaticRouteSm");

constexpr std::size_t reportsPerTurn = 10;

/// Labels above the range say something to a protocol, none to a packet.
bool fits(const Via& via) {
  const auto label = via.outLabel().value();
  return via.nexthopGroup().empty() &&
         (label <= Netbase::MplsLabel::max || label == Netbase::MplsLabel::none);
}

LfibMplsVia rowOf(const Via& via) {
  LfibMplsVia row({}, via.nextHop(), via.labelAction(), via.outLabel(), via.skipEgressAcl());
  row.intfIs(via.intf());
  row.payloadTypeIs(via.payloadType());
  row.ttlModeIs(via.ttlMode());
  row.weightIs(via.weight());
  return row;
}

}  // namespace

LfibStaticRouteSm::LfibStaticRouteSm(Forma::Ptr<LfibStatus> lfib,
                                     Forma::Ptr<RouteConfig const> config, Kiln::EventLoop& loop,
                                     Report report)
    : config_(Forma::validPtr(std::move(config))),
      report_(report ? std::move(report) : [](const std::string&) {}),
      writer_(std::move(lfib), LFib::lfibSourceStaticMpls_),
      reactor_(*this),
      turn_(loop.timers(), [this] { handleBacklog(); }) {
  reactor_.notifierIs(config_);
  handleReady();
}

/// All there is: what is configured, and what the LFIB holds.
void LfibStaticRouteSm::handleReady() {
  FORMA_TRACE(trace, 8, "handleReady", " ready: ", config_->ready());
  if (!config_->ready()) return;
  turn_.scheduleAfter(0);  // even if there are no routes
  for (const auto& one : config_->routeIteratorConst()) handleRoute(one.key);
  writer_.eachRoute([this](const RouteKey& key) { handleRoute(key); });
}

void LfibStaticRouteSm::handleRoute(const RouteKey& key) {
  if (!config_->ready() || !queued_.insert(key, true).second) return;
  backlog_.push_back(key);
  if (!turn_.pending()) turn_.scheduleAfter(0);
}

void LfibStaticRouteSm::handleBacklog() {
  for (std::size_t left = routesPerTurn; left != 0 && !backlog_.empty(); --left) {
    const RouteKey key = backlog_.front();
    backlog_.pop_front();
    queued_.erase(key);
    if (config_->ready()) setOutputForRoute(key);
  }
  reportProblems();
  if (!backlog_.empty()) turn_.scheduleAfter(0);
  else if (!initialized_ && config_->ready()) handleInitialized();
}

void LfibStaticRouteSm::handleInitialized() {
  writer_.removeUnused();
  initialized_ = true;
  if (onInitialized_) onInitialized_();
}

void LfibStaticRouteSm::setOutputForRoute(const RouteKey& key) {
  FORMA_TRACE(trace, 8, "setOutputForRoute", " for ", key);
  const Route* const route = config_->routeFind(key);
  std::string problem;
  vias_.clear();
  if (route != nullptr) problem = takeVias(*route);
  if (vias_.empty()) writer_.routeDel(key);
  else writer_.routeIs(key, vias_);
  if (route == nullptr) problem_.erase(key);
  else problemIs(key, std::move(problem));
}

std::string LfibStaticRouteSm::takeVias(const Route& route) {
  sorted_.clear();
  for (const auto& one : route.viaIteratorConst()) sorted_.push_back(one.key);
  std::ranges::sort(sorted_);
  for (const Via& via : sorted_)
    if (fits(via) && vias_.size() < LfibRouteWriter::maxVias) vias_.push_back(rowOf(via));
  if (vias_.size() == sorted_.size() && !vias_.empty()) return {};
  if (sorted_.empty()) return "not in the LFIB: it has no vias";
  const std::string all = std::to_string(sorted_.size());
  if (vias_.empty()) return "not in the LFIB: it has no room for any of its " + all + " vias";
  return "in the LFIB with " + std::to_string(vias_.size()) + " of its " + all + " vias";
}

void LfibStaticRouteSm::problemIs(const RouteKey& key, std::string problem) {
  const std::string* const known = problem_.find(key);
  if (known == nullptr ? problem.empty() : *known == problem) return;
  const std::string text = "label " + std::to_string(key.topLabel().value()) + " metric " +
                           std::to_string(key.metric().value()) + ": " +
                           (problem.empty() ? "as it is configured again" : problem);
  if (problem.empty()) problem_.erase(key);
  else problem_.put(key, std::move(problem));
  if (toReport_.size() < reportsPerTurn) toReport_.push_back(text);
  else ++more_;
}

void LfibStaticRouteSm::reportProblems() {
  for (const std::string& text : std::exchange(toReport_, {})) report_(text);
  if (more_ != 0)
    report_("the same of " + std::to_string(std::exchange(more_, 0)) + " more routes");
}

}  // namespace Mpls
