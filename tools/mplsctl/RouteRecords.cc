#include "tools/mplsctl/RouteRecords.h"

#include "tools/mplsctl/Commands.h"

namespace MplsCtl {

namespace {

constexpr Column viaColumns[] = {{"nextHop", "NEXT HOP"},
                                 {"operation", "OPERATION"},
                                 {"outLabel", "OUT LABEL", Kind::number},
                                 {"interface", "INTERFACE"},
                                 {"weight", "WEIGHT", Kind::number},
                                 {"ttlMode", ""}};
std::span<const Column> viaColumnsOf() { return viaColumns; }
constexpr Column routeColumns[] = {{"label", "LABEL", Kind::number},
                                   {"metric", "METRIC", Kind::number},
                                   {"vias", "", Kind::records, viaColumnsOf},
                                   {"source", "SOURCE"}};
constexpr Column conflictColumns[] = {{"label", "LABEL", Kind::number},
                                      {"metric", "METRIC", Kind::number},
                                      {"sources", "CLAIMED BY", Kind::texts}};

void addKey(Record& record, const Mpls::RouteKey& key) {
  record.clear();
  record.number(key.topLabel().value()).number(key.metric().value());
}

void addVia(Record& record, const Mpls::Via& via) {
  if (via.nextHop().isSet()) record.text(via.nextHop().stringValue().view());
  else record.none();
  record.text(formaEnumName(via.labelAction()));
  const auto label = via.outLabel().value();
  if (label <= Netbase::MplsLabel::max) record.number(label);
  else record.none();
  record.textOrNone(via.intf().name()).number(via.weight());
  if (via.ttlMode() == Mpls::undefinedTtlMode_) record.none();
  else record.text(formaEnumName(via.ttlMode()));
}

}  // namespace

const RecordType mergedRouteType{"route", routeColumns, 2};
const RecordType conflictType{"conflict", conflictColumns, 2};

RecordTypes routeTypes() {
  static const RecordType* const types[] = {&mergedRouteType};
  return types;
}
RecordTypes conflictTypes() {
  static const RecordType* const types[] = {&conflictType};
  return types;
}

void fillRecord(Record& record, const Mpls::RouteKey& key, const StaticRoutes::RouteView& route) {
  addKey(record, key);
  record.recordsBegin();
  for (const Mpls::Via& via : route.vias) addVia(record, via);
  record.recordsEnd().text(route.source);
}

void fillRecord(Record& record, const Mpls::RouteKey& key,
                const StaticRoutes::Claimants& claimants) {
  addKey(record, key);
  record.listBegin();
  for (const std::string& one : claimants) record.element(std::string_view(one));
  record.listEnd();
}

}  // namespace MplsCtl
