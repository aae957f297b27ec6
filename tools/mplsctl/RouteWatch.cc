/// `mplsctl route watch`: a line for each change of a route or a conflict. The connection may come
/// and go meanwhile: what is the same afterwards is not told.
#include "agents/routes/RouteText.h"
#include "tools/mplsctl/Commands.h"
#include "tools/mplsctl/Errors.h"
#include "tools/mplsctl/RouteReader.h"
#include "tools/mplsctl/RouteRecords.h"
#include "tools/mplsctl/WatchOutput.h"

namespace MplsCtl {

namespace {

using StaticRoutes::Change;

class Watch {
 public:
  explicit Watch(const Options& options) : out_(options) {}

  void begin(const StaticRoutes::MergedView& view) {
    for (const auto& [key, route] : view.routes) {
      fillRecord(route_, key, route);
      out_.initial(route_);
    }
    for (const auto& [key, claimants] : view.conflicts) {
      fillRecord(conflict_, key, claimants);
      out_.initial(conflict_);
    }
    out_.sync();
  }
  void tell(const Change& change) {
    const std::string line = changeLine(change);
    using Kind = Change::Kind;
    switch (change.kind) {
      case Kind::routeAdded:
        return tellRoute("added", change, line);
      case Kind::routeChanged:
        return tellRoute("changed", change, line);
      case Kind::conflictBegan:
        return tellConflict("added", change, line);
      case Kind::conflictChanged:
        return tellConflict("changed", change, line);
      case Kind::routeRemoved:
        fillRecord(route_, change.key, change.route);
        return out_.removed("removed", route_, line);
      case Kind::conflictEnded:
        fillRecord(conflict_, change.key, change.claimants);
        return out_.removed("removed", conflict_, line);
    }
  }
  void flush() { out_.flush(); }

 private:
  void tellRoute(std::string_view op, const Change& change, const std::string& line) {
    fillRecord(route_, change.key, change.route);
    out_.changed(op, route_, line);
  }
  void tellConflict(std::string_view op, const Change& change, const std::string& line) {
    fillRecord(conflict_, change.key, change.claimants);
    out_.changed(op, conflict_, line);
  }

  WatchOutput out_;
  Record route_{mergedRouteType};
  Record conflict_{conflictType};
};

}  // namespace

RecordTypes routeWatchTypes() {
  static const RecordType* const types[] = {&mergedRouteType, &conflictType};
  return types;
}

int routeWatch(const Options& options) {
  Agents::Program program(options, Agents::Program::Kind::follower);
  RouteReader reader(program);
  if (!reader.await(options)) return exitCodeOf(program);
  StaticRoutes::MergeFollower& follower = reader.follow();
  tellInfo(options, "watching " + std::to_string(follower.view().routes.size()) + " routes, " +
                        std::to_string(follower.view().conflicts.size()) + " conflicts");
  Watch watch(options);
  watch.begin(follower.view());
  const auto id = program.loop().turnEndIs([&] {
    if (!follower.changed()) return;
    for (const Change& change : follower.takeChanges()) watch.tell(change);
    watch.flush();
  });
  const int exitCode = follow(program);
  program.loop().turnEndDel(id);
  return exitCode;
}

}  // namespace MplsCtl
