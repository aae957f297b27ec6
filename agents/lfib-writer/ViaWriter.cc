#include "agents/lfib-writer/ViaWriter.h"

#include <utility>
#include <vector>

namespace LfibWriterAgent {

using Mpls::RouteKey;

ViaWriter::ViaWriter(Forma::Ptr<Mpls::LfibStatus> lfib, Kiln::EventLoop& loop, Report report)
    : lfib_(std::move(lfib)),
      report_(std::move(report)),
      ipLookups_(lfib_, ipLookupSource),
      pseudowires_(lfib_, pseudowireSource),
      reactor_(*this),
      again_(loop.timers(), [this] { writeRoutes(); }) {}

void ViaWriter::wantedIs(ViaFile wanted) {
  wanted_ = std::move(wanted);
  writeTagMaps();
  writeRoutes();
  if (reactor_.notifier()) return;
  ipLookups_.removeUnused();
  pseudowires_.removeUnused();
  reactor_.notifierIs(lfib_);
}

std::size_t ViaWriter::tags() const {
  std::size_t tags = 0;
  for (const auto& [key, map] : wanted_.tagMaps) tags += map.size();
  return tags;
}

// ---- Routes ------------------------------------------------------------------------------------

void ViaWriter::handleRoute(const RouteKey& key) {
  if (again_.pending()) return;
  if (wanted_.ipLookups.contains(key) || wanted_.pseudowires.contains(key)) again_.scheduleAfter(0);
}

/// Writes before it removes: a label that goes from one kind to the other is there throughout.
void ViaWriter::writeRoutes() {
  writeRows(ipLookups_, wanted_.ipLookups);
  writeRows(pseudowires_, wanted_.pseudowires);
  removeRows(ipLookups_, wanted_.ipLookups);
  removeRows(pseudowires_, wanted_.pseudowires);
}

template <class Row, class Rows>
void ViaWriter::writeRows(Mpls::LfibRouteWriterOf<Row>& writer, const Rows& rows) {
  for (const auto& [key, row] : rows) {
    if (!isOthers(key)) {
      leftToOthers_.erase(key);
      writer.routeIs(key, std::span(&row, 1));
    } else if (leftToOthers_.insert(key).second) {
      report_("label " + std::to_string(key.topLabel().value()) +
              ": left to another source, which has a route of it with metric 0");
    }
  }
}

template <class Row, class Rows>
void ViaWriter::removeRows(Mpls::LfibRouteWriterOf<Row>& writer, const Rows& rows) {
  std::vector<RouteKey> old;
  writer.eachRoute([&](const RouteKey& key) {
    if (!rows.contains(key)) old.push_back(key);
  });
  for (const RouteKey& key : old) {
    writer.routeDel(key);
    leftToOthers_.erase(key);
  }
}

bool ViaWriter::isOthers(const RouteKey& key) const {
  Mpls::LfibRoute row;
  return lfib_->lfibRouteFind(key, &row) && row.source() != ipLookupSource &&
         row.source() != pseudowireSource;
}

// ---- Tag maps ----------------------------------------------------------------------------------

/// Tags go before their map does, as nobody removes the rows of a map that went.
void ViaWriter::writeTagMaps() {
  for (const auto& one : lfib_->dot1qTagToVlanCollIteratorConst()) {
    const auto wanted = wanted_.tagMaps.find(one.key);
    const Forma::Ptr<Mpls::LfibDot1qTagToVlan> map = lfib_->dot1qTagToVlanColl(one.key);
    for (const auto& tag : map->dot1qTagToVlanIdIteratorConst())
      if (wanted == wanted_.tagMaps.end() || !wanted->second.contains(tag.key))
        map->dot1qTagToVlanIdDel(tag.key);
    if (wanted == wanted_.tagMaps.end()) lfib_->dot1qTagToVlanCollDel(one.key);
  }
  for (const auto& [key, tags] : wanted_.tagMaps) {
    const Forma::Ptr<Mpls::LfibDot1qTagToVlan> map = lfib_->dot1qTagToVlanCollIs(key);
    for (const auto& [tag, vlan] : tags) map->dot1qTagToVlanIdIs(tag, vlan);
  }
  if (!tagMaps_) tagMaps_ = Mpls::lfibStatusProducerSmFactory(lfib_);
}

}  // namespace LfibWriterAgent
