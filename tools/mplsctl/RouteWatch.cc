/// `mplsctl route watch`: a line for each change of a route or a conflict. The connection may come
/// and go meanwhile: what is the same afterwards is not told.
#include <iostream>

#include "agents/routes/RouteJson.h"
#include "agents/routes/RouteText.h"
#include "tools/mplsctl/RouteReader.h"

namespace MplsCtl {

namespace {

void print(const StaticRoutes::Change& change, bool json) {
  std::cout << (json ? Agents::jsonText(changeJson(change)) : changeLine(change)) << '\n';
}

}  // namespace

int routeWatch(const Options& options) {
  Agents::Program program(options, Agents::Program::Kind::follower);
  RouteReader reader(program);
  if (!reader.await(options)) return exitCodeOf(program);
  StaticRoutes::MergeFollower& follower = reader.follow();
  program.log().say("watching " + std::to_string(follower.view().routes.size()) + " routes, " +
                    std::to_string(follower.view().conflicts.size()) + " conflicts");
  const auto id = program.loop().turnEndIs([&] {
    if (!follower.changed()) return;
    for (const StaticRoutes::Change& change : follower.takeChanges()) print(change, options.json);
    std::cout.flush();
  });
  const int exitCode = program.run();
  program.loop().turnEndDel(id);
  return exitCode;
}

}  // namespace MplsCtl
