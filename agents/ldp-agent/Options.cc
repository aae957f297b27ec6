#include "agents/ldp-agent/Options.h"

#include "agents/common/Agent.h"
#include "agents/common/Paths.h"

namespace LdpAgent {

namespace {

constexpr const char* description =
    "Publishes the label bindings of an LDP router and its peers in shared memory, and the routes "
    "of those in\nuse in an LFIB. The bindings are those of a recorded router, or of a file that "
    "FRR printed; both are\nfollowed.";

constexpr Agents::AgentHelp help = {
    .description = description,
    .note = "The tables stay when it ends, and the next one goes on from them.",
    .onReload = "Read what the files have beyond what was read",
    .needs = "input or a directory"};

std::optional<Netbase::IpGenAddr> addressFrom(std::string_view text) {
  const auto address = Netbase::IpGenAddr::fromText(text);
  return address && address->isSet() ? address : std::nullopt;
}

std::optional<LdpIdentifier> routerFrom(std::string_view text) {
  const auto address = addressFrom(text);
  if (!address || address->isV6()) return std::nullopt;
  return LdpIdentifier(address->v4().value());
}

/// NEIGHBOR=ADDRESS[%INTERFACE]
std::optional<NeighborHop> hopFrom(const std::string& text) {
  const std::size_t equals = text.find('=');
  if (equals == std::string::npos) return std::nullopt;
  const std::size_t percent = std::min(text.find('%', equals), text.size());
  const auto neighbor = routerFrom(text.substr(0, equals));
  const auto address = addressFrom(text.substr(equals + 1, percent - equals - 1));
  if (!neighbor || !address) return std::nullopt;
  NeighborHop hop{*neighbor, *address, {}};
  try {
    if (percent < text.size()) hop.intf = Netbase::IntfId(text.substr(percent + 1));
  } catch (const Forma::Exception&) {
    return std::nullopt;
  }
  return hop;
}

CLI::Validator parsedBy(auto parse, const std::string& what) {
  return CLI::Validator(
      [parse, what](const std::string& text) { return parse(text) ? "" : "expected " + what; }, "");
}

void describeFile(CLI::App& app, Options& options, CLI::Option* router) {
  auto* const file =
      app.add_option("--bindings", options.bindings, "What `show mpls ldp binding json` printed")
          ->type_name("FILE")
          ->check(Agents::notEmpty("FILE"))
          ->excludes(router);
  auto* const id = app.add_option_function<std::string>(
      "--router-id", [&options](const std::string& text) { options.routerId = *routerFrom(text); },
      "The router of that file");
  id->type_name("A.B.C.D")->check(parsedBy(routerFrom, "an identifier such as 10.0.0.1"));
  id->needs(file);
  file->needs(id);
  const auto takeHops = [&options](const std::vector<std::string>& texts) {
    for (const std::string& text : texts) options.hops.push_back(*hopFrom(text));
  };
  app.add_option_function<std::vector<std::string>>(
         "--next-hop", takeHops, "Where a neighbour of that file is; may be given several times")
      ->type_name("NEIGHBOR=ADDRESS[%INTF]")
      ->check(parsedBy(hopFrom, "NEIGHBOR=ADDRESS or NEIGHBOR=ADDRESS%INTF"))
      ->needs(file);
}

void describeRecording(CLI::App& app, Options& options, CLI::Option* router) {
  app.add_option("--until", options.until, "Stop behind that many messages, and stay")
      ->type_name("N")
      ->needs(router);
  app.add_option("--pace", options.pace, "Messages a second [as fast as can be]")
      ->type_name("N")
      ->check(CLI::Range(0.001, 1e6))
      ->needs(router);
}

}  // namespace

std::optional<Options> optionsFrom(int argc, const char* const* argv, int& exitCode) {
  Options options;
  options.name = "ldp-agent";
  CLI::App app("", options.name);
  auto* const router = app.add_option("--router", options.router, "Folder of a recorded router");
  router->type_name("DIR")->check(Agents::notEmpty("DIR"));
  describeRecording(app, options, router);
  describeFile(app, options, router);
  app.add_option("--instance", options.instance,
                 "Of several LDP agents on this machine: which [none]")
      ->type_name("NAME")
      ->check(Agents::pathName());
  app.add_option("--tables", options.tables, "Directory of the tables [ldp in that of --run]")
      ->type_name("DIR")
      ->check(Agents::notEmpty("DIR"));
  app.add_option("--lfib", options.lfib, "Directory of the LFIB [lfib/ldp in that of --run]")
      ->type_name("DIR")
      ->check(Agents::notEmpty("DIR"));
  Agents::describe(app, options.tableOptions);
  app.final_callback([&] {
    if (options.router.empty() && options.bindings.empty())
      throw CLI::RequiredError("--router or --bindings");
  });
  Agents::describeAgent(app, options, help);
  if (!Agents::parse(app, argc, argv, exitCode)) return std::nullopt;
  options.linkReadyPath = Agents::ldpLinkReadyPath(options.instance);
  if (options.tables.empty()) options.tables = Agents::ldpTables(options.runDir, options.instance);
  if (options.lfib.empty()) options.lfib = Agents::ldpLfib(options.runDir, options.instance);
  return options;
}

}  // namespace LdpAgent
