#include "tools/mplsctl/LfibRecords.h"

#include <algorithm>
#include <array>
#include <vector>

#include "mpls/lfib/LfibViaRow.h"
#include "tools/mplsctl/Commands.h"

namespace MplsCtl {

namespace {

using Mpls::LfibMplsVia;
using Mpls::LfibRoute;
using Mpls::LfibViaKey;
using Mpls::LfibViaSet;
using Mpls::RouteKey;

constexpr Column viaColumns[] = {{"via", "", Kind::number},
                                 {"missing", "", Kind::flag},
                                 {"type", ""},
                                 {"nextHop", "NEXT HOP"},
                                 {"operation", "OPERATION"},
                                 {"outLabels", "OUT LABEL", Kind::numbers},
                                 {"interface", "INTERFACE"},
                                 {"weight", "WEIGHT", Kind::number},
                                 {"ttlMode", ""},
                                 {"row", ""}};
std::span<const Column> viaColumnsOf() { return viaColumns; }
constexpr Column routeColumns[] = {{"label", "LABEL", Kind::number},
                                   {"metric", "METRIC", Kind::number},
                                   {"directory", ""},
                                   {"vias", "", Kind::records, viaColumnsOf},
                                   {"source", "SOURCE"},
                                   {"viaSet", "", Kind::number},
                                   {"fec", ""},
                                   {"usable", "", Kind::flag}};

constexpr std::string_view unusable = "no usable via";

// ---- Cells --------------------------------------------------------------------------------------

/// "StaticMpls"; a number for what a newer writer may have put there.
void addName(Record& record, std::string_view name, std::string_view prefix, auto value) {
  if (name.starts_with(prefix)) name.remove_prefix(prefix.size());
  if (!name.empty()) record.plain(name);
  else record.number(static_cast<std::uint64_t>(value));
}

void addAddress(Record& record, const Netbase::IpGenAddr& address) {
  if (!address.isSet()) {
    record.none();
    return;
  }
  std::string text;  // short enough to need no memory when it is of IPv4
  Forma::print(text, address);
  record.plain(text);
}

void addVia(Record& record, const LfibMplsVia& via) {
  record.number(via.key().index()).none(2);
  addAddress(record, via.nextHop());
  addName(record, formaEnumName(via.labelAction()), "", via.labelAction());
  const Mpls::LabelStack& stack = via.labelStack();
  record.listBegin();
  for (std::size_t i = 0; i < stack.size(); ++i) record.element(stack.label(i).value());
  record.listEnd();
  record.textOrNone(via.intf().name()).number(via.weight());
  if (via.ttlMode() == Mpls::undefinedTtlMode_) record.none();
  else addName(record, formaEnumName(via.ttlMode()), "", via.ttlMode());
  record.none();
}

void addMissing(Record& record, const LfibViaKey& key) {
  record.number(key.index()).flag(true).none();
  record.remark("via " + std::to_string(key.index()) + " missing");
  record.none(6);
}

/// One of another type, which has a text of its own.
void addOther(Record& record, const LfibVia& via) {
  record.number(via.key.index()).none();
  addName(record, formaEnumName(via.key.viaType()), "viaType", via.key.viaType());
  record.none();
  addName(record, formaEnumName(via.key.viaType()), "viaType", via.key.viaType());
  record.none().text(via.brief).none(2).text(via.other);
}

void addVia(Record& record, const LfibVia& via) {
  if (!via.isThere()) addMissing(record, via.key);
  else if (via.mpls) addVia(record, *via.mpls);
  else addOther(record, via);
}

void addRemark(Record& record) {
  record.none(3).remark(unusable);
  record.none(6);
}

void beginRoute(Record& record, const std::string& directory, const RouteKey& key) {
  fillKey(record, directory, key);
  record.recordsBegin();
}

void endRoute(Record& record, const LfibRoute& route, bool isUsable) {
  if (!isUsable) addRemark(record);
  record.recordsEnd();
  addName(record, formaEnumName(route.source()), "lfibSource", route.source());
  record.number(route.viaSetKey().index());
  if (route.fec() == Mpls::FwdEqvClass()) record.none();
  else record.text(Mpls::valueToStrep(route.fec()).view());
  record.flag(isUsable);
}

// ---- Walk ---------------------------------------------------------------------------------------

/// Takes routes in batches: their rows, their via sets, and the vias of these.
class Walk {
 public:
  Walk(const LfibDirectory& directory, const std::function<bool(const Record&)>& visit)
      : directory_(directory), lfib_(directory.lfib()), visit_(visit), record_(lfibRouteType) {}

  /// Whether to go on.
  bool take(const RouteKey& key) {
    keys_[count_++] = key;
    return count_ < batch || flush();
  }
  bool flush() {
    const std::size_t count = std::exchange(count_, 0);
    lfib_.lfibRouteTable().safeLookupBatch(std::span(keys_).first(count), routes_, isRoute_);
    for (std::size_t i = 0; i < count; ++i) setKeys_[i] = routes_[i].viaSetKey();
    lfib_.viaSetTable().safeLookupBatch(std::span(setKeys_).first(count), sets_, isSet_);
    viaKeys_.clear();
    for (std::size_t i = 0; i < count; ++i)
      if (isSet_[i])
        for (const LfibViaKey& key : sets_[i].viaKeyIteratorConst()) viaKeys_.push_back(key);
    if (vias_.size() < viaKeys_.size()) roomIs(viaKeys_.size());
    lfib_.mplsViaTable().safeLookupBatch(viaKeys_, vias_, {isVia_.get(), viaKeys_.size()});
    std::size_t via = 0;
    for (std::size_t i = 0; i < count; ++i) {
      const std::size_t vias = isSet_[i] ? sets_[i].viaKeys() : 0;
      if (isRoute_[i] && !show(i, via, vias)) return false;
      via += vias;
    }
    return true;
  }

 private:
  static constexpr std::size_t batch = 32;

  void roomIs(std::size_t vias) {
    vias_.resize(vias);
    isVia_ = std::make_unique<bool[]>(vias);
  }
  /// What is not whole is read once more, one by one: it may have changed meanwhile.
  bool show(std::size_t number, std::size_t first, std::size_t count) {
    const bool isWhole =
        isSet_[number] && std::all_of(isVia_.get() + first, isVia_.get() + first + count,
                                      [](bool isThere) { return isThere; });
    if (!isWhole) return showThoroughly(keys_[number]);
    beginRoute(record_, directory_.path(), keys_[number]);
    for (std::size_t i = first; i < first + count; ++i) addVia(record_, vias_[i]);
    endRoute(record_, routes_[number], count != 0);
    return visit_(record_);
  }
  bool showThoroughly(const RouteKey& key) {
    const auto entry = lfibEntryOf(lfib_, key);
    if (!entry) return true;
    fillRecord(record_, directory_.path(), *entry);
    return visit_(record_);
  }

  const LfibDirectory& directory_;
  const Mpls::LfibStatus& lfib_;
  const std::function<bool(const Record&)>& visit_;
  Record record_;
  std::size_t count_ = 0;
  std::array<RouteKey, batch> keys_;
  std::array<LfibRoute, batch> routes_;
  std::array<bool, batch> isRoute_{};
  std::array<Mpls::LfibViaSetKey, batch> setKeys_;
  std::array<LfibViaSet, batch> sets_;
  std::array<bool, batch> isSet_{};
  std::vector<LfibViaKey> viaKeys_;
  std::vector<LfibMplsVia> vias_;
  std::unique_ptr<bool[]> isVia_;
};

}  // namespace

const RecordType lfibRouteType{"route", routeColumns, 3};

RecordTypes lfibTypes() {
  static const RecordType* const types[] = {&lfibRouteType};
  return types;
}

void eachLfibRecord(const LfibDirectory& directory,
                    const std::function<bool(const Record&)>& visit) {
  Walk walk(directory, visit);
  const auto& table = directory.lfib().lfibRouteTable();
  Tarn::TableCursor cursor(Tarn::RowForm<LfibRoute>::keyBytes);
  RouteKey key;
  while (const std::byte* packed = cursor.next(table.view()))
    if (Tarn::RowForm<LfibRoute>::decodeKey(packed, &key) && !walk.take(key)) return;
  walk.flush();
}

void fillKey(Record& record, const std::string& directory, const RouteKey& key) {
  record.clear();
  record.number(key.topLabel().value()).number(key.metric().value()).text(directory);
}

void fillRecord(Record& record, const std::string& directory, const LfibEntry& entry) {
  beginRoute(record, directory, entry.route.key());
  for (const LfibVia& via : entry.vias) addVia(record, via);
  endRoute(record, entry.route, entry.isUsable());
}

}  // namespace MplsCtl
