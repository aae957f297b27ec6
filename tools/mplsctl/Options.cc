#include "tools/mplsctl/Options.h"

#include <map>
#include <string>

namespace MplsCtl {

namespace {

constexpr const char* description =
    "Shows what the MPLS agents of this switch share through the central database.";

constexpr const char* footer =
    "Exit codes: 0 all right; 2 wrong usage, or output that cannot be written; 3 the database is "
    "away, or does\nnot have what is to be shown, or refused to tell; 4 a fault.";

struct Entry {
  const char* group;
  const char* groupText;
  const char* name;
  const char* text;
  Command command;
};

constexpr Entry entries[] = {
    {"route", "The merged static MPLS routes", "show", "The routes in force, with their sources",
     routeShow},
    {"route", "", "conflicts", "The labels that are withheld as several inputs claim them",
     routeConflicts},
    {"route", "", "watch", "Follow routes and conflicts until interrupted", routeWatch},
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
  app.require_subcommand(1);
  std::map<std::string, CLI::App*> groups;
  Command chosen = nullptr;
  for (const Entry& one : entries) {
    CLI::App*& group = groups[one.group];
    if (group == nullptr) group = app.add_subcommand(one.group, one.groupText);
    group->require_subcommand(1)->fallthrough();
    group->add_subcommand(one.name, one.text)->fallthrough()->callback([&] {
      chosen = one.command;
    });
  }
  return Agents::parse(app, argc, argv, exitCode) ? chosen : nullptr;
}

}  // namespace MplsCtl
