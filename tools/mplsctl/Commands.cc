#include "tools/mplsctl/Commands.h"

#include <array>

#include "platform/netbase/MplsLabel.h"

namespace MplsCtl {

namespace {

void describeLabel(CLI::App& app, Options& options) {
  app.add_option("LABEL", options.label, "Incoming label")
      ->type_name("")
      ->required()
      ->check(CLI::Range(std::uint32_t{0}, Netbase::MplsLabel::max));
  app.add_option("METRIC", options.metric, "Its metric [any]")
      ->type_name("")
      ->check(CLI::Range(0, 255));
}

/// What names a record: the first columns, the later of which may be left out.
void describeKey(CLI::App& app, Options& options, const char* words, int most) {
  app.add_option("KEY", options.key, words)->type_name("")->required()->expected(1, most);
}

void describeRoute(CLI::App& app, Options& options) {
  describeKey(app, options, "Incoming label, and metric [any]", 2);
}
void describeClient(CLI::App& app, Options& options) {
  describeKey(app, options, "Client, and ID of its request [any]", 2);
}
void describeTable(CLI::App& app, Options& options) {
  describeKey(app, options, "Name of a table", 1);
}
void describePath(CLI::App& app, Options& options) {
  describeKey(app, options, "Path, or name of a client", 1);
}

void describeForwarding(CLI::App& app, Options& options) {
  app.add_option("--table", options.forwarding,
                 "Directory of the forwarding agent's tables [forwarding in that of --run]")
      ->type_name("DIR")
      ->check(Agents::notEmpty("DIR"));
}

void describePlan(CLI::App& app, Options& options) {
  app.add_option("BASE", options.rangeBase, "First label of the dynamic range")
      ->type_name("")
      ->required()
      ->check(CLI::Range(std::uint32_t{0}, Netbase::MplsLabel::max));
  app.add_option("SIZE", options.rangeSize, "How many labels it has; 0 0 is the default range")
      ->type_name("")
      ->required()
      ->check(CLI::Range(std::uint32_t{0}, Netbase::MplsLabel::max + 1));
}

void describeTables(CLI::App& app, Options& options, const char* where) {
  app.add_option("--tables", options.tables, where)
      ->type_name("DIR")
      ->check(Agents::notEmpty("DIR"));
}

void describeLdp(CLI::App& app, Options& options) {
  describeTables(app, options, "Directory of the LDP tables [ldp in that of --run]");
  app.add_option("--instance", options.instance, "Of several LDP agents: which")->type_name("NAME");
}

void describeFec(CLI::App& app, Options& options) {
  describeKey(app, options, "FEC, such as 10.0.0.0/24", 1);
  describeLdp(app, options);
}

void describeLdpVerify(CLI::App& app, Options& options) {
  app.add_option("FILE", options.file,
                 "Compare with it: ietf-mpls-ldp JSON, or `show mpls ldp binding json` of FRR")
      ->type_name("")
      ->check(Agents::notEmpty("FILE"));
  describeLdp(app, options);
}

void describeStat(CLI::App& app, Options& options) {
  app.add_option("--interval", options.interval, "Look again and again, and tell the rates")
      ->type_name("SECONDS")
      ->check(CLI::Range(0.01, 1e6));
  app.add_option("--times", options.times, "So many looks [for ever]")
      ->type_name("N")
      ->check(CLI::PositiveNumber);
}

void describeWatch(CLI::App& app, Options& options) {
  app.add_option("--interval", options.interval, "Look each so many seconds [1]")
      ->type_name("SECONDS")
      ->check(CLI::Range(0.01, 1e6));
}

void describeLdpStat(CLI::App& app, Options& options) {
  describeStat(app, options);
  describeLdp(app, options);
}

void describeTrace(CLI::App& app, Options& options) {
  auto* const file = app.add_option("FILE", options.file, "Ring file of an agent")
                         ->type_name("")
                         ->check(Agents::notEmpty("FILE"));
  app.add_option("--agent", options.agent, "That of the agent NAME, in trace in that of --run")
      ->type_name("NAME")
      ->check(Agents::notEmpty("NAME"))
      ->excludes(file);
  app.add_option("--last", options.last, "The last N messages only")
      ->type_name("N")
      ->check(CLI::PositiveNumber);
  app.add_flag("--follow", options.follow, "Then wait for more, until interrupted");
}

void describeSr(CLI::App& app, Options& options) {
  describeTables(app, options, "Directory of the tables [all in sr in that of --run]");
  app.add_option("--instance", options.instance, "The one of that name only")->type_name("NAME");
}

void describeSrWatch(CLI::App& app, Options& options) {
  describeWatch(app, options);
  describeSr(app, options);
}

void describePrefix(CLI::App& app, Options& options) {
  describeKey(app, options, "Prefix, or router of a global block", 1);
  describeSr(app, options);
}

constexpr const char* countText = "How much there is, and how fast it changes";
constexpr const char* routeText = "The merged static MPLS routes";
constexpr const char* lfibText = "The label forwarding table in shared memory";
constexpr const char* labelText =
    "The blocks of labels that the label manager gives to its clients";
constexpr const char* ldpText = "The label bindings of the LDP router and its peers";

constexpr const char* srText = "Segment routing";
constexpr const char* tableText = "Tables in shared memory";
constexpr const char* dbText = "The central database";

constexpr auto all = std::to_array<Entry>({
    {"lfib", lfibText, "show", "The routes, with what they lead to", lfibShow, lfibTypes},
    {"lfib", lfibText, "get", "The routes of one label", lfibGet, lfibTypes, describeLabel},
    {"lfib", lfibText, "watch", "Follow the routes until interrupted", lfibWatch, lfibTypes},
    {"lfib", lfibText, "verify", "Check the tables, and what their rows say of each other", verify,
     verifyTypes},
    {"lfib", lfibText, "stat", countText, stat, statTypes, describeStat},
    {"lfib", lfibText, "lookups", "The labels whose packets are looked up in a VRF", lfibLookups,
     lookupTypes},
    {"lfib", lfibText, "unprogrammed", "The routes that are not forwarded, and why",
     lfibUnprogrammed, unprogrammedTypes, describeForwarding},
    {"route", routeText, "show", "The routes in force, with their sources", routeShow, routeTypes},
    {"route", routeText, "get", "The routes of one label", routeShow, routeTypes, describeRoute},
    {"route", routeText, "watch", "Follow routes and conflicts until interrupted", routeWatch,
     routeWatchTypes},
    {"route", routeText, "verify", "Check that the LFIB holds the merged routes", verify,
     verifyTypes},
    {"route", routeText, "conflicts", "The labels that are withheld as several inputs claim them",
     routeConflicts, conflictTypes},
    {"label", labelText, "show", "Range, blocks and their owners, requests that wait", labelShow,
     labelTypes},
    {"label", labelText, "get", "The blocks and requests of one client", labelShow, labelTypes,
     describeClient},
    {"label", labelText, "watch", "Follow blocks and waiting requests until interrupted",
     labelWatch, labelWatchTypes},
    {"label", labelText, "verify", "Check that blocks lie in the range and do not overlap", verify,
     verifyTypes},
    {"label", labelText, "stat", countText, stat, statTypes, describeStat},
    {"label", labelText, "plan", "What another dynamic range would do to each request", labelPlan,
     labelPlanTypes, describePlan},
    {"ldp", ldpText, "show", "Bindings, advertisements, filters, and the links that are ready",
     ldpShow, ldpTypes, describeLdp},
    {"ldp", ldpText, "get", "The bindings of one FEC", ldpShow, ldpTypes, describeFec},
    {"ldp", ldpText, "watch", "Follow them until interrupted", ldpWatch, ldpWatchTypes,
     describeLdp},
    {"ldp", ldpText, "verify", "Check the tables, and whether the LFIB agrees", verify, verifyTypes,
     describeLdpVerify},
    {"ldp", ldpText, "stat", countText, stat, statTypes, describeLdpStat},
    {"sr", srText, "show", "Global blocks, prefix segments, routes that push labels", srShow,
     srTypes, describeSr},
    {"sr", srText, "get", "What there is of one prefix, or of one router", srShow, srTypes,
     describePrefix},
    {"sr", srText, "watch", "Follow them until interrupted", srWatch, srTypes, describeSrWatch},
    {"sr", srText, "verify", "Check the tables", verify, verifyTypes, describeSr},
    {"sr", srText, "stat", countText, stat, statTypes, describeStat},
    {"table", tableText, "show", "Rows, memory, writers and problems", tableShow, tableTypes},
    {"table", tableText, "get", "The tables of one name", tableShow, tableTypes, describeTable},
    {"table", tableText, "watch", "Follow tables and writers until interrupted", tableWatch,
     tableTypes, describeWatch},
    {"table", tableText, "verify", "Check every byte of the tables", verify, verifyTypes},
    {"table", tableText, "stat", countText, stat, statTypes, describeStat},
    {"db", dbText, "show", "Paths, owners, clients, log", dbShow, dbTypes},
    {"db", dbText, "get", "One path, or one client", dbShow, dbTypes, describePath},
    {"db", dbText, "watch", "Follow paths and clients until interrupted", dbWatch, dbTypes,
     describeWatch},
    {"db", dbText, "stat", countText, stat, statTypes, describeStat},
    {"trace", "The ring traces of agents", "show", "What an agent recorded last, dead or alive",
     traceShow, traceTypes, describeTrace},
    {"verify", "Check all that the agents share", "", "", verify, verifyTypes},
    {"stat", "Count all that the agents share", "", "", stat, statTypes, describeStat},
});

}  // namespace

std::span<const Entry> entries() { return all; }

}  // namespace MplsCtl
