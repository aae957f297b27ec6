#include "agents/replay/LabelInstalls.h"

#include <utility>

#include "mpls/types/Constants.h"

namespace Replay {

using Mpls::LfibRouteWriter;
using Mpls::RouteKey;
using Netbase::MplsLabel;

namespace {

RouteKey keyOf(MplsLabel label) { return {label, Mpls::Constants::metricDefault}; }

}  // namespace

LabelInstalls::LabelInstalls(Forma::Ptr<Mpls::LfibStatus> lfib, Mpls::LFib::Source source,
                             const Interfaces& interfaces)
    : LabelInstalls(
          std::move(lfib), std::span(&source, 1),
          [source](MplsLabel, const NextHops&) { return source; }, interfaces) {}

LabelInstalls::LabelInstalls(Forma::Ptr<Mpls::LfibStatus> lfib,
                             std::span<const Mpls::LFib::Source> sources, SourceOf sourceOf,
                             const Interfaces& interfaces)
    : interfaces_(interfaces), sourceOf_(std::move(sourceOf)) {
  for (const Mpls::LFib::Source source : sources)
    sources_.push_back({source, std::make_unique<LfibRouteWriter>(lfib, source)});
}

// ---- The model ----------------------------------------------------------------------------------

void LabelInstalls::take(const LabelChange& change) {
  const auto at = labels_.try_emplace(change.label).first;
  Label& label = at->second;
  if (change.kind == LabelChange::Kind::replace) label.nextHops.clear();
  if (change.kind != LabelChange::Kind::remove) {
    label.nextHops.insert(change.nextHops.begin(), change.nextHops.end());
    label.fec = change.fec;
  } else {
    for (const NextHop& one : change.nextHops) label.nextHops.erase(one);
  }
  changed_.insert(change.label);
  dropIfEmpty(at);
}

void LabelInstalls::labelDel(MplsLabel label) {
  if (labels_.erase(label) != 0) changed_.insert(label);
}

void LabelInstalls::nextHopDel(const Netbase::IpGenAddr& address) {
  for (auto at = labels_.begin(); at != labels_.end(); at = dropIfEmpty(at))
    if (std::erase_if(at->second.nextHops,
                      [&](const NextHop& one) { return one.address == address; }) != 0)
      changed_.insert(at->first);
}

void LabelInstalls::clear() {
  allChanged();
  labels_.clear();
}

void LabelInstalls::allChanged() {
  for (const auto& one : labels_) changed_.insert(one.first);
}

std::size_t LabelInstalls::nextHops() const {
  std::size_t all = 0;
  for (const auto& one : labels_) all += one.second.nextHops.size();
  return all;
}

/// The label behind it.
LabelInstalls::Labels::iterator LabelInstalls::dropIfEmpty(Labels::iterator at) {
  return at->second.nextHops.empty() ? labels_.erase(at) : std::next(at);
}

// ---- The LFIB -----------------------------------------------------------------------------------

void LabelInstalls::write() {
  for (const MplsLabel label : std::exchange(changed_, {})) setRoute(label);
}

void LabelInstalls::finish() {
  write();
  for (const Source& one : sources_) {
    std::vector<RouteKey> old;
    one.writer->eachRoute([&](const RouteKey& key) {
      if (!labels_.contains(key.topLabel()) || key != keyOf(key.topLabel())) old.push_back(key);
    });
    for (const RouteKey& key : old) one.writer->routeDel(key);
    one.writer->removeUnused();
  }
}

/// Writes under one source before it gives up the route of another: the label is there throughout.
void LabelInstalls::setRoute(MplsLabel label) {
  const auto found = labels_.find(label);
  auto source = Mpls::LFib::lfibSourceUnknown_;
  if (found != labels_.end()) {
    source = sourceOf_(label, found->second.nextHops);
    std::vector<Mpls::LfibMplsVia> vias;
    for (const NextHop& one : found->second.nextHops)
      if (vias.size() < LfibRouteWriter::maxVias) vias.push_back(viaOf(one));
    for (const Source& one : sources_)
      if (one.source == source) one.writer->routeIs(keyOf(label), vias, found->second.fec);
  }
  for (const Source& one : sources_)
    if (one.source != source) one.writer->routeDel(keyOf(label));
}

Mpls::LfibMplsVia LabelInstalls::viaOf(const NextHop& nextHop) const {
  const Mpls::LabelStack stack = nextHop.imposed();
  Mpls::LfibMplsVia via({}, nextHop.address, stack.empty() ? Netbase::pop_ : Netbase::swap_, stack,
                        false);
  via.intfIs(interfaces_.name(nextHop.ifindex));
  return via;
}

std::uint64_t LabelInstalls::changes() const {
  std::uint64_t all = 0;
  for (const Source& one : sources_) all += one.writer->changes();
  return all;
}

}  // namespace Replay
