#include "agents/label-client/Options.h"

#include <vector>

namespace LabelClientAgent {

namespace {

constexpr const char* description =
    "Asks the label manager (mpls-agent) for a block of 16384 labels for each ID, prints a line "
    "for each block\nthat is granted, moved or withdrawn, and gives them back when it is ended.";

constexpr const char* footer =
    "Exit codes: 0 ended by SIGINT or SIGTERM, or done; 2 wrong usage, or output that cannot be "
    "written; 3\nrefused by the database, as when another client has the name; 4 a fault. What a "
    "client that was killed\nheld stays, for the next one of its name; --withdraw gives it back.";

std::string nameProblem(const std::string& name) {
  const bool good = !name.empty() && name.find('/') == std::string::npos;
  return good ? "" : "expected a NAME that is not empty and holds no \"/\", found \"" + name + "\"";
}

}  // namespace

std::optional<Options> optionsFrom(int argc, const char* const* argv, int& exitCode) {
  Options options;
  options.name = "label-client";
  std::vector<std::string> ids;
  CLI::App app(description, options.name);
  app.footer(footer);
  app.add_option("--name", options.client, "By which the label manager knows the client")
      ->type_name("NAME")
      ->required()
      ->check(CLI::Validator(nameProblem, ""));
  auto* const wanted = app.add_option("--ids", ids, "One for each block that it wants")
                           ->type_name("ID,...")
                           ->delimiter(',')
                           ->check(Agents::notEmpty("ID"));
  app.add_flag("--json", options.json, "Print an object for each line");
  auto* const withdraw =
      app.add_flag("--withdraw", options.withdraw, "Give back all that it has, then end")
          ->excludes(wanted);
  Agents::describe(app, options);
  app.final_callback([&] {
    if (!*wanted && !*withdraw) throw CLI::RequiredError("--ids or --withdraw");
  });
  if (!Agents::parse(app, argc, argv, exitCode)) return std::nullopt;
  options.ids.insert(ids.begin(), ids.end());
  return options;
}

}  // namespace LabelClientAgent
