#include "agents/centrum/Options.h"

#include <charconv>

namespace CentrumProgram {

namespace {

constexpr const char* description =
    "Serves the central database: keeps what agents publish, and passes changes on to those who "
    "read it.\nWho belongs to the group of the socket may publish, as may its user and root; who "
    "may connect, may read.";

constexpr const char* footer =
    "Exit codes: 0 ended by SIGTERM, SIGINT or SIGHUP; 2 wrong usage, or a socket or log that "
    "cannot be used.\nThe log makes a restart unnoticed: agents go on where they were.";

/// Permission bits in octal.
std::optional<mode_t> modeFrom(const std::string& text) {
  unsigned mode = 0;
  const char* const end = text.data() + text.size();
  const auto [stop, error] = std::from_chars(text.data(), end, mode, 8);
  if (error != std::errc() || stop != end || mode > 0777) return std::nullopt;
  return static_cast<mode_t>(mode);
}

std::string modeProblem(const std::string& text) {
  return modeFrom(text) ? "" : "expected permissions in octal, such as 0660";
}

}  // namespace

std::optional<Options> optionsFrom(int argc, const char* const* argv, int& exitCode) {
  Options options;
  options.common.name = "centrum";
  std::string mode = "0660";
  bool noLog = false;
  CLI::App app(description, options.common.name);
  app.footer(footer);
  Agents::describe(app, options.common);
  app.add_option("--mode", mode, "Permissions of the socket")
      ->type_name("OCTAL")
      ->check(CLI::Validator(modeProblem, ""))
      ->capture_default_str();
  auto* log = app.add_option("--log", options.log, "Log of changes [the socket's name and .log]")
                  ->type_name("FILE")
                  ->check(Agents::notEmpty("FILE"));
  app.add_flag("--no-log", noLog, "Keep no log: a restart starts empty")->excludes(log);
  if (!Agents::parse(app, argc, argv, exitCode)) return std::nullopt;
  options.mode = *modeFrom(mode);
  if (noLog) options.log.clear();
  else if (options.log.empty()) options.log = options.common.socket + ".log";
  return options;
}

}  // namespace CentrumProgram
