#include "tools/mplsctl/VerifyLfib.h"

#include <array>
#include <chrono>
#include <map>
#include <set>
#include <thread>
#include <tuple>
#include <vector>

#include "mpls/lfib/LfibViaRow.h"
#include "platform/forma/HashMap.h"
#include "tools/mplsctl/VerifyMarks.h"

namespace MplsCtl {

namespace {

using Mpls::LfibRoute;
using Mpls::LfibStatus;
using Mpls::LfibViaKey;
using Mpls::LfibViaSet;
using Mpls::LfibViaSetKey;
using Mpls::RouteKey;
using Tarn::Record;
using Tarn::TableView;

constexpr std::size_t atOnce = 32;  // lookups that are under way together

std::string textOf(const RouteKey& key) {
  return "label " + std::to_string(key.topLabel().value()) + " metric " +
         std::to_string(key.metric().value());
}

/// "Ldp 7, type MplsIp": without what all names of sources and types begin with.
template <class Key>
std::string textOf(const Key& key) {
  std::string source(formaEnumName(key.source())), type(formaEnumName(key.viaType()));
  if (source.starts_with("lfibSource")) source.erase(0, std::size("lfibSource") - 1);
  if (type.starts_with("viaType")) type.erase(0, std::size("viaType") - 1);
  return source + " " + std::to_string(key.index()) + ", type " + type;
}

// ---- What is wrong with one row, as it is now --------------------------------------------------

bool hasVia(const LfibStatus& lfib, const LfibViaKey& key) {
  Mpls::LfibViaRow row;
  return Mpls::lfibViaRowFind(lfib, key, &row);
}

/// Empty when nothing is, or the route is gone.
std::string referenceProblem(const LfibStatus& lfib, const RouteKey& key) {
  LfibRoute route, now;
  LfibViaSet viaSet;
  for (int look = 0; look < secondLooks; ++look, route = now) {
    if (!lfib.lfibRouteFind(key, &route) || lfib.viaSetFind(route.viaSetKey(), &viaSet)) return {};
    if (!lfib.lfibRouteFind(key, &now)) return {};
    if (now == route) break;
  }
  return "route " + textOf(key) + ": no via set " + textOf(route.viaSetKey());
}

std::string referenceProblem(const LfibStatus& lfib, const LfibViaSetKey& key) {
  LfibViaSet viaSet, now;
  for (int look = 0; look < secondLooks; ++look) {
    if (!lfib.viaSetFind(key, &viaSet)) return {};
    std::string problem;
    for (const LfibViaKey& via : viaSet.viaKeyIteratorConst())
      if (!hasVia(lfib, via)) problem = "via set " + textOf(key) + ": no via " + textOf(via);
    if (problem.empty()) return {};
    if (lfib.viaSetFind(key, &now) && now == viaSet) return problem;
  }
  return {};
}

std::string homogeneityProblem(const LfibRoute& route) {
  const bool isEvpn = LfibStatus::isEvpnViaType(route.viaSetKey().viaType());
  if (!isEvpn || route.key().metric().value() == 0) return {};
  return "route " + textOf(route.key()) + ": its via set " + textOf(route.viaSetKey()) +
         " asks for the metric 0";
}

std::string homogeneityProblem(const LfibViaSet& viaSet) {
  std::size_t vias = 0;
  for (const LfibViaKey& via : viaSet.viaKeyIteratorConst()) {
    ++vias;
    if (via.viaType() != viaSet.key().viaType())
      return "via set " + textOf(viaSet.key()) + ": via " + textOf(via) + " is of another type";
  }
  if (vias < 2 || !LfibStatus::isEvpnViaType(viaSet.key().viaType())) return {};
  return "via set " + textOf(viaSet.key()) + ": " + std::to_string(vias) + " vias, of its type one";
}

// ---- Walking -----------------------------------------------------------------------------------

/// Calls visit(row, record) for each row of a table; returns how many there are. Those whose values
/// are none are counted in `strange`.
template <class Map, class Visit>
std::uint64_t eachRow(const Map& map, std::uint64_t& strange, Visit visit) {
  using Form = typename Map::Form;
  std::array<std::byte, atOnce * Form::keyBytes> keys;
  std::array<Record, atOnce> records;
  std::size_t held = 0;
  std::uint64_t rows = 0;
  typename Map::Row row;
  const auto flush = [&] {
    map.view().template findBatch<Form::keyBytes, Form::rowBytes>(keys.data(), held,
                                                                  records.data());
    for (std::size_t i = 0; i < held; ++i) {
      if (!records[i]) continue;
      ++rows;
      if (Form::decode(records[i].row, records[i].bytes, &row))
        visit(std::as_const(row), records[i]);
      else ++strange;
    }
    held = 0;
  };
  Tarn::TableCursor cursor(Form::keyBytes);
  while (const std::byte* const key = cursor.next(map.view())) {
    std::copy_n(key, Form::keyBytes, keys.data() + held * Form::keyBytes);
    if (++held == atOnce) flush();
  }
  flush();
  return rows;
}

/// Lookups that are gathered, and done many at a time: what is found is marked, and of what is not
/// the owner is told.
template <class Map, class Owner>
class Lookups {
 public:
  using Form = typename Map::Form;

  explicit Lookups(const Map& map) : map_(map), pin_(map.view()), marks_(map.view()) {}

  const Map& map() const { return map_; }
  RowMarks& marks() { return marks_; }
  template <class Missing>
  void add(const typename Map::Key& key, const Owner& owner, Missing missing) {
    Form::encodeKey(key, keys_.data() + held_ * Form::keyBytes);
    owners_[held_] = owner;
    if (++held_ == atOnce) flush(missing);
  }
  template <class Missing>
  void flush(Missing missing) {
    map_.view().template findBatch<Form::keyBytes, Form::rowBytes>(keys_.data(), held_,
                                                                   found_.data());
    for (std::size_t i = 0; i < held_; ++i) {
      if (found_[i]) marks_.mark(found_[i].row);
      else missing(owners_[i]);
    }
    held_ = 0;
  }

 private:
  const Map& map_;
  const TableView::Pin pin_;
  RowMarks marks_;
  std::array<std::byte, atOnce * Form::keyBytes> keys_;
  std::array<Owner, atOnce> owners_;
  std::array<Record, atOnce> found_;
  std::size_t held_ = 0;
};

template <class Row>
using ViaMap =
    std::remove_cvref_t<decltype(Mpls::LfibViaTable<Row>::of(std::declval<const LfibStatus&>()))>;

// ---- The whole LFIB ----------------------------------------------------------------------------

/// One look at all tables: collects what seems wrong.
class LfibLook {
 public:
  explicit LfibLook(const LfibStatus& lfib)
      : lfib_(lfib), changes_(changes()), viaSets_(lfib.viaSetTable()), vias_(lookupsOf(lfib)) {}

  void run() {
    takeRoutes();
    takeViaSets();
    std::apply([this](auto&... one) { (takeVias(one), ...); }, vias_);
  }
  /// Whether nothing changed meanwhile.
  bool isStill() const { return changes() == changes_; }

  std::vector<RouteKey> routes;                      ///< that seem to lead nowhere
  std::vector<LfibViaSetKey> viaSets;                ///< that seem to
  std::set<RouteKey> mixedRoutes;                    ///< that are not as their type asks for
  std::set<LfibViaSetKey> mixedSets;                 ///< the same
  std::set<LfibViaSetKey> unusedSets;                ///< that nobody seems to name
  std::set<LfibViaKey> unusedVias;                   ///< the same
  std::map<std::string, std::uint64_t> strangeRows;  ///< by table, those with wrong values
  std::uint64_t routeCount = 0, viaSetCount = 0, viaCount = 0;

 private:
  template <class... Rows>
  struct ForRows;
  template <class... Rows>
  struct ForRows<std::variant<Rows...>> {
    using Type = std::tuple<Lookups<ViaMap<Rows>, LfibViaSetKey>...>;
    static Type make(const LfibStatus& lfib) {
      return Type(Lookups<ViaMap<Rows>, LfibViaSetKey>(Mpls::LfibViaTable<Rows>::of(lfib))...);
    }
  };
  using ViaLookups = ForRows<Mpls::LfibViaRow>::Type;
  static ViaLookups lookupsOf(const LfibStatus& lfib) {
    return ForRows<Mpls::LfibViaRow>::make(lfib);
  }

  std::uint64_t changes() const {
    const auto of = [](const auto& map) {
      return map.view().tableState().changes.load(std::memory_order_acquire);
    };
    std::uint64_t all = of(lfib_.lfibRouteTable()) + of(lfib_.viaSetTable());
    all += of(lfib_.mplsViaTable()) + of(lfib_.pwViaTable()) + of(lfib_.ipLookupViaTable());
    all += of(lfib_.vlanViaTable()) + of(lfib_.evpnVlanAwareViaTable());
    all += of(lfib_.evpnEthernetSegmentFilterViaTable()) + of(lfib_.evpnVlanFloodViaTable());
    return all + of(lfib_.evpnVlanAwareFloodViaTable());
  }

  template <class Map, class Visit>
  std::uint64_t each(const Map& map, Visit visit) {
    std::uint64_t strange = 0;
    const std::uint64_t rows = eachRow(map, strange, visit);
    if (strange != 0) strangeRows[std::string(map.name())] = strange;
    return rows;
  }

  void takeRoutes() {
    const auto missing = [this](const RouteKey& key) { routes.push_back(key); };
    routeCount = each(lfib_.lfibRouteTable(), [&](const LfibRoute& route, const Record&) {
      viaSets_.add(route.viaSetKey(), route.key(), missing);
      if (LfibStatus::isEvpnViaType(route.viaSetKey().viaType()) &&
          !homogeneityProblem(route).empty())
        mixedRoutes.insert(route.key());
    });
    viaSets_.flush(missing);
  }

  void takeViaSets() {
    const auto missing = [this](const LfibViaSetKey& key) { viaSets.push_back(key); };
    viaSetCount = each(lfib_.viaSetTable(), [&](const LfibViaSet& row, const Record& record) {
      if (!viaSets_.marks().isMarked(record.row)) unusedSets.insert(row.key());
      if (!homogeneityProblem(row).empty()) mixedSets.insert(row.key());
      for (const LfibViaKey& via : row.viaKeyIteratorConst()) lookUp(via, row.key(), missing);
    });
    std::apply([&](auto&... one) { (one.flush(missing), ...); }, vias_);
  }

  /// In the table of its type.
  template <class Missing>
  void lookUp(const LfibViaKey& via, const LfibViaSetKey& owner, Missing missing) {
    if (!Mpls::hasLfibViaTable(via.viaType())) return missing(owner);
    [&]<std::size_t... at>(std::index_sequence<at...>) {
      ((via.viaType() == at + 1 ? std::get<at>(vias_).add(via, owner, missing) : void()), ...);
    }
    (std::make_index_sequence<std::tuple_size_v<ViaLookups>>());
  }

  template <class One>
  void takeVias(One& lookups) {
    viaCount += each(lookups.map(), [&](const auto& row, const Record& record) {
      if (!lookups.marks().isMarked(record.row)) unusedVias.insert(row.key());
    });
  }

  const LfibStatus& lfib_;
  const std::uint64_t changes_;
  Lookups<Tarn::TarnMap<LfibViaSetKey, LfibViaSet>, RouteKey> viaSets_;
  ViaLookups vias_;
};

void pause() { std::this_thread::sleep_for(std::chrono::milliseconds(pauseTime)); }

/// Whether nobody named any of the keys meanwhile; takes out those that are named, or gone.
class UnusedRows {
 public:
  explicit UnusedRows(const LfibLook& look) {
    for (const LfibViaSetKey& key : look.unusedSets) sets_.put(key, true);
    for (const LfibViaKey& key : look.unusedVias) vias_.put(key, true);
  }

  std::size_t size() const { return sets_.size() + vias_.size(); }
  void lookAgain(const LfibStatus& lfib) {
    std::uint64_t strange = 0;
    eachRow(lfib.lfibRouteTable(), strange,
            [this](const LfibRoute& row, const Record&) { sets_.erase(row.viaSetKey()); });
    eachRow(lfib.viaSetTable(), strange, [this](const LfibViaSet& row, const Record&) {
      for (const LfibViaKey& via : row.viaKeyIteratorConst()) vias_.erase(via);
    });
    LfibViaSet row;
    for (const LfibViaSetKey& key : sets())
      if (!lfib.viaSetFind(key, &row)) sets_.erase(key);
    for (const LfibViaKey& key : vias())
      if (!hasVia(lfib, key)) vias_.erase(key);
  }
  std::set<LfibViaSetKey> sets() const { return keysOf(sets_); }
  std::set<LfibViaKey> vias() const { return keysOf(vias_); }

 private:
  template <class Key>
  static std::set<Key> keysOf(const Forma::HashMap<Key, bool>& map) {
    std::set<Key> keys;
    map.forEach([&keys](const Key& key, bool) { keys.insert(key); });
    return keys;
  }

  Forma::HashMap<LfibViaSetKey, bool> sets_;
  Forma::HashMap<LfibViaKey, bool> vias_;
};

std::string countsOf(const LfibLook& look) {
  return std::to_string(look.routeCount) + " routes, " + std::to_string(look.viaSetCount) +
         " via sets, " + std::to_string(look.viaCount) + " vias";
}

void checkReferences(const LfibStatus& lfib, const LfibLook& look, Check& check) {
  const auto problem = [&lfib](const auto& key) { return referenceProblem(lfib, key); };
  const Pause orNone = look.isStill() ? Pause() : Pause(pause);
  lookAgain(look.routes, check, orNone, problem);
  lookAgain(look.viaSets, check, orNone, problem);
  for (const auto& [table, count] : look.strangeRows)
    check.damaged(table + ": " + std::to_string(count) + " rows have values that no writer writes");
}

void checkHomogeneity(const LfibStatus& lfib, const LfibLook& look, Check& check) {
  for (const RouteKey& key : look.mixedRoutes) {
    LfibRoute row;
    if (lfib.lfibRouteFind(key, &row))
      if (std::string text = homogeneityProblem(row); !text.empty()) check.failed(std::move(text));
  }
  for (const LfibViaSetKey& key : look.mixedSets) {
    LfibViaSet row;
    if (lfib.viaSetFind(key, &row))
      if (std::string text = homogeneityProblem(row); !text.empty()) check.failed(std::move(text));
  }
}

/// While somebody writes what seems unused may be what is named next: of what is left after several
/// looks nothing can be said.
void checkUnreferenced(const LfibStatus& lfib, const LfibLook& look, Check& check) {
  constexpr int looks = 4;
  UnusedRows unused(look);
  const bool isStill = look.isStill();
  for (int i = 0; !isStill && i < looks && unused.size() != 0; ++i) {
    pause();
    unused.lookAgain(lfib);
  }
  if (!isStill && unused.size() != 0)
    return check.skipped("being written: " + std::to_string(unused.size()) +
                         " rows seem to be unused");
  for (const LfibViaSetKey& key : unused.sets())
    check.failed("via set " + textOf(key) + ": no route leads to it");
  for (const LfibViaKey& key : unused.vias())
    check.failed("via " + textOf(key) + ": no via set names it");
}

}  // namespace

void verifyLfib(const LfibStatus& lfib, const std::string& place, const CheckSink& sink) {
  LfibLook look(lfib);
  look.run();
  Check references("references", place), homogeneity("homogeneity", place);
  Check unreferenced("unreferenced", place);
  for (Check* const check : {&references, &homogeneity, &unreferenced})
    check->summaryIs(countsOf(look));
  checkReferences(lfib, look, references);
  checkHomogeneity(lfib, look, homogeneity);
  checkUnreferenced(lfib, look, unreferenced);
  for (const Check* const check : {&references, &homogeneity, &unreferenced}) sink(*check);
}

}  // namespace MplsCtl
