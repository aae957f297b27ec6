#include "agents/static-routes/Options.h"

#include <CLI/CLI.hpp>
#include <algorithm>
#include <set>

namespace StaticRoutes {

namespace {

constexpr const char* description =
    "Loads static MPLS routes from files, one source each, merges them and prints the effective "
    "table.\nA label that several sources claim is withheld and listed as a conflict.\n"
    "Files hold FRR `mpls lsp` lines, `ip -f mpls route` commands or SONiC LABEL_ROUTE_TABLE JSON; "
    "which\nof them is seen by their content.";

constexpr const char* footer =
    "Exit codes:\n"
    "  0                           All right\n"
    "  1                           Some routes were refused, the others are loaded; with --watch:\n"
    "                              of a file's last load\n"
    "  2                           Wrong usage, a file that cannot be read at start, or output "
    "that\n"
    "                              cannot be written";

InputOption inputFrom(const std::string& text) {
  const std::size_t equals = text.find('=');
  if (equals == std::string::npos)
    throw CLI::ValidationError("--input", "expected NAME=FILE, found \"" + text + "\"");
  InputOption input{text.substr(0, equals), text.substr(equals + 1)};
  const std::string& name = input.name;
  if (name.empty() || name.find('/') != std::string::npos || name == staticName)
    throw CLI::ValidationError("--input", "expected a NAME that is not empty, is not \"" +
                                              staticName + "\" and holds no \"/\", found \"" +
                                              name + "\"");
  if (input.file.empty())
    throw CLI::ValidationError("--input", "expected a FILE behind \"" + name + "=\"");
  return input;
}

std::vector<InputOption> inputsFrom(const std::vector<std::string>& texts) {
  std::vector<InputOption> inputs;
  std::set<std::string> names;
  for (const std::string& text : texts) {
    inputs.push_back(inputFrom(text));
    if (!names.insert(inputs.back().name).second)
      throw CLI::ValidationError(
          "--input", "expected each NAME once, found \"" + inputs.back().name + "\" twice");
  }
  return inputs;
}

void describe(CLI::App& app, Options& options, std::vector<std::string>& inputs) {
  app.footer(footer);
  app.add_option("--static", options.staticFile, "File of the source \"static\"")
      ->type_name("FILE")
      ->check(Agents::notEmpty("FILE"));
  app.add_option("--input", inputs, "File of a dynamic source; may be given again")
      ->type_name("NAME=FILE")
      ->allow_extra_args(false);
  app.add_option("--metric", options.metric, "Metric of all routes")
      ->type_name("0-255")
      ->check(CLI::Range(0, 255))
      ->capture_default_str();
  app.add_flag("--watch", options.watch, "Follow the files and print what changes, until a signal");
  app.add_flag("--json", options.json, "Print JSON; with --watch one object a line");
  Agents::describeTraces(app, options);
}

}  // namespace

std::optional<Options> optionsFrom(int argc, const char* const* argv, int& exitCode) {
  Options options;
  options.name = "static-routes";
  CLI::App app(description, options.name);
  std::vector<std::string> inputs;
  describe(app, options, inputs);
  app.final_callback([&] {
    options.inputs = inputsFrom(inputs);
    if (options.staticFile.empty() && options.inputs.empty())
      throw CLI::ValidationError("static-routes", "expected --static or --input");
  });
  if (!Agents::parse(app, argc, argv, exitCode)) return std::nullopt;
  return options;
}

}  // namespace StaticRoutes
