#include "agents/label-client/Options.h"

#include <vector>

#include "agents/common/Agent.h"

namespace LabelClientAgent {

namespace {

constexpr const char* description =
    "Asks the label manager (mpls-agent) for a block of 16384 labels for each ID, prints a line "
    "for each block\nthat is granted, moved or withdrawn, and gives them back when it is ended.";

constexpr Agents::AgentHelp help = {
    .description = description,
    .note =
        "What a client that was killed held stays, for the next one of its name; --withdraw "
        "gives it back.",
    .whenDone = "--withdraw"};

}  // namespace

std::optional<Options> optionsFrom(int argc, const char* const* argv, int& exitCode) {
  Options options;
  options.name = "label-client";
  std::vector<std::string> ids;
  CLI::App app("", options.name);
  app.add_option("--name", options.client, "By which the label manager knows the client")
      ->type_name("NAME")
      ->required()
      ->check(Agents::pathName());
  auto* const wanted = app.add_option("--ids", ids, "One for each block that it wants")
                           ->type_name("ID,...")
                           ->delimiter(',')
                           ->check(Agents::notEmpty("ID"));
  app.add_flag("--json", options.json, "Print an object for each line");
  auto* const withdraw =
      app.add_flag("--withdraw", options.withdraw, "Give back all that it has, then end")
          ->excludes(wanted);
  app.final_callback([&] {
    if (!*wanted && !*withdraw) throw CLI::RequiredError("--ids or --withdraw");
  });
  Agents::describeAgent(app, options, help);
  if (!Agents::parse(app, argc, argv, exitCode)) return std::nullopt;
  options.instance = options.client;
  options.ids.insert(ids.begin(), ids.end());
  return options;
}

}  // namespace LabelClientAgent
