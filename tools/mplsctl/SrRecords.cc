/// The records of segment-routing tables.
#include <algorithm>
#include <vector>

#include "tools/mplsctl/SrReader.h"
#include "tools/mplsctl/ValueText.h"

namespace MplsCtl {

namespace {

namespace Sr = Tarn::SegmentRouting;

constexpr Column blockColumns[] = {{"router", "ROUTER"},
                                   {"directory", ""},
                                   {"base", "FIRST LABEL", Kind::number},
                                   {"size", "LABELS", Kind::number}};
constexpr Column segmentColumns[] = {{"prefix", "PREFIX"},
                                     {"directory", ""},
                                     {"sid", "SID", Kind::number},
                                     {"isLabel", "", Kind::flag},
                                     {"label", "LABEL", Kind::number},
                                     {"router", "ROUTER"},
                                     {"flags", "FLAGS", Kind::texts}};
constexpr Column viaColumns[] = {
    {"nextHop", "NEXT HOP"}, {"push", "PUSH", Kind::numbers}, {"interface", "INTERFACE"}};
std::span<const Column> viaColumnsOf() { return viaColumns; }
constexpr Column routeColumns[] = {{"prefix", "PREFIX"},
                                   {"directory", ""},
                                   {"preference", "PREFERENCE", Kind::number},
                                   {"metric", "METRIC", Kind::number},
                                   {"vias", "", Kind::records, viaColumnsOf}};

constexpr RecordType blockType{"block", blockColumns, 2};
constexpr RecordType segmentType{"segment", segmentColumns, 2};
constexpr RecordType routeType{"route", routeColumns, 2};

/// Calls `visit` for each row of a table, in the order of keys.
template <class Key, class Row>
void eachRow(const Tarn::TarnMap<Key, Row>& table, const auto& visit) {
  std::vector<Key> keys;
  table.eachKey([&](const Key& key) { keys.push_back(key); });
  std::ranges::sort(keys);
  for (const Key& key : keys) {
    Row row;
    if (table.find(key, &row)) visit(row);
  }
}

/// The label in the block of the router that advertised the segment.
Netbase::MplsLabel labelOf(const Sr::Status& status, const Sr::PrefixSegment& segment) {
  try {
    return status.globalBlock(segment.rtrid()).mplsLabel(segment.sid());
  } catch (const Forma::Exception&) {  // a block that is none
    return Netbase::MplsLabel::none;
  }
}

void addFlags(Record& record, const Sr::PfxSegmentFlags& flags) {
  record.listBegin();
  const auto add = [&record](bool isSet, std::string_view word) {
    if (isSet) record.element(word);
  };
  add(flags.explicitNull(), "explicit-null");
  add(flags.noPhp(), "no-php");
  add(flags.node(), "node");
  add(flags.proxy(), "proxy");
  add(flags.reAdvert(), "re-advertised");
  add(flags.isLocal(), "local");
  record.listEnd();
}

void addVia(Record& record, const Tarn::Fib::Via& via) {
  record.textOrNone(via.nextHop().isSet() ? textOf(via.nextHop()) : "");
  record.listBegin();
  for (std::size_t i = 0; i < via.labelStack().size(); ++i)
    record.element(via.labelStack().label(i).value());
  record.listEnd();
  record.textOrNone(via.intf().name());
}

}  // namespace

RecordTypes SrReader::types() {
  static constexpr const RecordType* types[] = {&blockType, &segmentType, &routeType};
  return types;
}

void SrInstance::eachBlock(const Visit& visit) const {
  Record record(blockType);
  eachRow(status().globalBlockTable(), [&](const Sr::GlobalBlock& block) {
    record.clear();
    record.text(textOf(block.key())).text(path());
    visit(record.number(block.labelRange().base().value()).number(block.labelRange().size()));
  });
}

void SrInstance::eachSegment(const Visit& visit) const {
  Record record(segmentType);
  eachRow(status().prefixSegmentTable(), [&](const Sr::PrefixSegment& one) {
    record.clear();
    record.text(textOf(one.key())).text(path());
    record.number(one.sid().index()).flag(one.sid().isValue());
    const Netbase::MplsLabel label = labelOf(status(), one);
    if (label <= Netbase::MplsLabel::max) record.number(label.value());
    else record.none();
    record.text(textOf(one.rtrid()));
    addFlags(record, one.flags());
    visit(record);
  });
}

void SrInstance::eachRoute(const Visit& visit) const {
  Record record(routeType);
  const auto add = [&](const auto& route) {
    record.clear();
    record.text(textOf(route.key())).text(path());
    record.number(route.preference()).number(route.metric());
    record.recordsBegin();
    for (const Tarn::Fib::Via& via : route.viaIteratorConst()) addVia(record, via);
    visit(record.recordsEnd());
  };
  eachRow(status().v4RouteTable(), add);
  eachRow(status().v6RouteTable(), add);
}

}  // namespace MplsCtl
