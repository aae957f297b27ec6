#include "tools/mplsctl/Options.h"

#include <map>
#include <string>

#include "platform/netbase/MplsLabel.h"

namespace MplsCtl {

namespace {

constexpr const char* description =
    "Shows what the MPLS agents of this switch share, through the central database and in tables "
    "in memory.";

constexpr const char* footer =
    "Exit codes: 0 all right; 1 they differ (ldp verify); 2 wrong usage, or output that cannot be "
    "written; 3 the database is "
    "away, or does\nnot have what is to be shown, or refused to tell, and the same of tables; 4 a "
    "fault, or a table that is damaged.";

struct Entry {
  const char* group;
  const char* groupText;
  const char* name;
  const char* text;
  Command command;
  void (*describe)(CLI::App& app, Options& options) = nullptr;  // further options
};

void describeGet(CLI::App& app, Options& options) {
  app.add_option("LABEL", options.label, "Incoming label")
      ->type_name("")
      ->required()
      ->check(CLI::Range(std::uint32_t{0}, Netbase::MplsLabel::max));
  app.add_option("METRIC", options.metric, "Its metric [any]")
      ->type_name("")
      ->check(CLI::Range(0, 255));
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

void describeVerify(CLI::App& app, Options& options) {
  app.add_option("FILE", options.file,
                 "State of the router: ietf-mpls-ldp JSON, or `show mpls ldp binding json` of FRR")
      ->type_name("")
      ->required()
      ->check(Agents::notEmpty("FILE"));
  describeLdp(app, options);
}

void describeSr(CLI::App& app, Options& options) {
  describeTables(app, options, "Directory of the tables [all in sr in that of --run]");
  app.add_option("--instance", options.instance, "The one of that name only")->type_name("NAME");
}

constexpr Entry entries[] = {
    {"route", "The merged static MPLS routes", "show", "The routes in force, with their sources",
     routeShow},
    {"route", "", "conflicts", "The labels that are withheld as several inputs claim them",
     routeConflicts},
    {"route", "", "watch", "Follow routes and conflicts until interrupted", routeWatch},
    {"lfib", "The label forwarding table in shared memory", "show",
     "The routes, with what they lead to", lfibShow},
    {"lfib", "", "get", "The routes of one label", lfibGet, describeGet},
    {"lfib", "", "watch", "Follow the routes until interrupted", lfibWatch},
    {"lfib", "", "lookups", "The labels whose packets are looked up in a VRF", lfibLookups},
    {"lfib", "", "unprogrammed", "The routes that are not forwarded, and why", lfibUnprogrammed,
     describeForwarding},
    {"label", "The blocks of labels that the label manager gives to its clients", "show",
     "Range, blocks and their owners, requests that wait", labelShow},
    {"label", "", "watch", "Follow blocks and waiting requests until interrupted", labelWatch},
    {"label", "", "plan", "What another dynamic range would do to each request", labelPlan,
     describePlan},
    {"ldp", "The label bindings of the LDP router and its peers", "show",
     "Bindings, advertisements, filters, and the links that are ready", ldpShow, describeLdp},
    {"ldp", "", "watch", "Follow them until interrupted", ldpWatch, describeLdp},
    {"ldp", "", "verify", "Compare the tables with the state that the router tells of", ldpVerify,
     describeVerify},
    {"sr", "Segment routing", "show", "Global blocks, prefix segments, routes that push labels",
     srShow, describeSr},
    {"table", "Tables in shared memory", "show", "Rows, memory, writers and problems", tableShow},
    {"db", "The central database", "show", "Paths, owners, clients, log", dbShow},
};

}  // namespace

Command commandFrom(int argc, const char* const* argv, Options& options, int& exitCode) {
  options.name = "mplsctl";
  CLI::App app(description, options.name);
  app.footer(footer);
  Agents::describe(app, options);
  app.add_flag("--json", options.json, "Print JSON");
  app.add_option("--timeout", options.timeout, "How long to wait for what is to be shown")
      ->type_name("SECONDS")
      ->check(CLI::Range(0.0, 1e6))
      ->capture_default_str();
  Agents::describeRun(app, options.run);
  app.add_option("--lfib", options.lfib, "Directory of LFIB tables [all in lfib in that of --run]")
      ->type_name("DIR")
      ->check(Agents::notEmpty("DIR"));
  app.require_subcommand(1);
  std::map<std::string, CLI::App*> groups;
  Command chosen = nullptr;
  for (const Entry& one : entries) {
    CLI::App*& group = groups[one.group];
    if (group == nullptr) group = app.add_subcommand(one.group, one.groupText);
    group->require_subcommand(1)->fallthrough();
    CLI::App* const command = group->add_subcommand(one.name, one.text)->fallthrough();
    command->callback([&] { chosen = one.command; });
    if (one.describe != nullptr) one.describe(*command, options);
  }
  return Agents::parse(app, argc, argv, exitCode) ? chosen : nullptr;
}

}  // namespace MplsCtl
