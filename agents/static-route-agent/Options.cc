#include "agents/static-route-agent/Options.h"

#include <charconv>
#include <map>

#include "agents/common/Agent.h"
#include "agents/common/Paths.h"

namespace StaticRouteAgent {

namespace {

constexpr const char* description =
    "Publishes the static MPLS routes of a file as one input of the route merge, and follows the "
    "file.\n"
    "Files hold FRR `mpls lsp` lines, `ip -f mpls route` commands or SONiC LABEL_ROUTE_TABLE "
    "JSON.\n"
    "The input \"static\" also publishes the MPLS configuration: label ranges, interfaces "
    "without MPLS.";

constexpr Agents::AgentHelp help = {
    .description = description,
    .note = "A restart is no withdrawal: routes stay published until the input is emptied.",
    .onReload = "Read the file again",
    .needs = "a file",
    .whenDone = "--once, --withdraw",
    .mayRefusePart = true};

/// A range from "BASE:SIZE"; none from any other text.
std::optional<Mpls::LabelRange> rangeFrom(const std::string& text) {
  std::uint32_t base = 0;
  std::uint32_t size = 0;
  const char* const end = text.data() + text.size();
  const auto [colon, error] = std::from_chars(text.data(), end, base);
  if (error != std::errc() || colon == end || *colon != ':') return std::nullopt;
  const auto [stop, sizeError] = std::from_chars(colon + 1, end, size);
  if (sizeError != std::errc() || stop != end) return std::nullopt;
  try {
    return Mpls::LabelRange(base, size);
  } catch (const Forma::RangeException&) {
    return std::nullopt;
  }
}

std::string rangeProblem(const std::string& text) {
  if (rangeFrom(text)) return "";
  return "expected BASE:SIZE of labels up to 1048575, such as 100000:262144, found \"" + text +
         "\"";
}

const std::map<std::string, bool> onOff{{"on", true}, {"off", false}};

}  // namespace

std::string Options::path() const {
  return isStatic() ? Agents::staticInputPath : Agents::dynamicInputDir + "/" + input;
}

std::optional<Options> optionsFrom(int argc, const char* const* argv, int& exitCode) {
  Options options;
  options.name = "static-route-agent";
  bool withdraw = false;
  CLI::App app("", options.name);
  app.add_option("--input", options.input, "The input to serve: \"static\", or any other name")
      ->type_name("NAME")
      ->required()
      ->check(Agents::pathName());
  auto* const file = app.add_option("--file", options.file, "Its routes; without, it is empty")
                         ->type_name("FILE")
                         ->check(Agents::notEmpty("FILE"));
  app.add_option("--metric", options.metric, "Metric of all routes")
      ->type_name("0-255")
      ->check(CLI::Range(0, 255))
      ->capture_default_str();
  auto* const routing = app.add_option("--mpls-routing", options.mplsRouting,
                                       "MPLS routing, for the input \"static\"")
                            ->type_name("on|off")
                            ->transform(CLI::CheckedTransformer(onOff).description(""));
  auto* const labelRange =
      app.add_option_function<std::string>(
             "--label-range",
             [&](const std::string& text) { options.labelRange = rangeFrom(text); },
             "The dynamic label range, for the input \"static\" [that of the file]")
          ->type_name("BASE:SIZE")
          ->check(CLI::Validator(rangeProblem, ""));
  app.add_flag("--once", options.once, "End as soon as the database has everything");
  app.add_flag("--withdraw", withdraw, "Empty the input, then end")->excludes(file);
  app.final_callback([&] {
    for (const CLI::Option* one : {routing, labelRange})
      if (*one && !options.isStatic())
        throw CLI::ValidationError(one->get_name(), "expected --input static with it");
  });
  Agents::describeAgent(app, options, help);
  if (!Agents::parse(app, argc, argv, exitCode)) return std::nullopt;
  options.once = options.once || withdraw;
  options.instance = options.input;
  return options;
}

}  // namespace StaticRouteAgent
