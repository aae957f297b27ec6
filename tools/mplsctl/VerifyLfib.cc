#include "tools/mplsctl/VerifyLfib.h"

#include <chrono>
#include <map>
#include <set>
#include <thread>
#include <tuple>
#include <vector>

#include "mpls/lfib/LfibViaRow.h"
#include "platform/forma/HashMap.h"
#include "tools/mplsctl/LfibView.h"
#include "tools/mplsctl/VerifyProblems.h"
#include "tools/mplsctl/VerifyWalk.h"

namespace MplsCtl {

namespace {

using Mpls::LfibRoute;
using Mpls::LfibStatus;
using Mpls::LfibViaKey;
using Mpls::LfibViaSet;
using Mpls::LfibViaSetKey;
using Mpls::RouteKey;
using Tarn::Record;

template <class Row>
using ViaMap =
    std::remove_cvref_t<decltype(Mpls::LfibViaTable<Row>::of(std::declval<const LfibStatus&>()))>;

/// One look at all tables: collects what seems wrong.
class LfibLook {
 public:
  LfibLook(const LfibStatus& lfib, Progress* progress)
      : lfib_(lfib),
        progress_(progress),
        changes_(changes()),
        viaSets_(lfib.viaSetTable()),
        vias_(lookupsOf(lfib)) {}

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
    const std::uint64_t rows = eachRow(map, strange, [&](const auto& row, const Record& record) {
      if (progress_ != nullptr) progress_->add();
      visit(row, record);
    });
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
  Progress* const progress_;  // may be null
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

void verifyLfib(const LfibStatus& lfib, const std::string& place, const CheckSink& sink,
                Progress* progress) {
  if (progress != nullptr)
    progress->begin("LFIB " + place, lfib.lfibRouteTable().rows() + lfib.viaSetTable().rows() +
                                         lfib.mplsViaTable().rows());
  LfibLook look(lfib, progress);
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
