#include "agents/common/Options.h"

#include <charconv>
#include <cstdio>
#include <exception>
#include <filesystem>
#include <optional>

#include "agents/common/ExitCode.h"
#include "agents/common/Version.h"
#include "platform/forma/Trace.h"
#include "platform/ringtrace/RingTrace.h"

namespace Agents {

namespace {

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

std::string octal(mode_t mode) {
  char text[8];
  std::snprintf(text, sizeof text, "%04o", static_cast<unsigned>(mode & 0777));
  return text;
}

}  // namespace

void describe(CLI::App& app, CommonOptions& options) {
  app.add_option("--socket", options.socket, "Where centrum listens")
      ->type_name("PATH")
      ->envname("MPLS_CENTRUM")
      ->check(notEmpty("PATH"))
      ->capture_default_str();
  describeTraces(app, options);
}

void describeTraces(CLI::App& app, CommonOptions& options) {
  app.set_version_flag("--version", versionText(options.name));
  app.add_option("--trace", options.trace, "Trace levels, such as RouteConfigMergeSm/8,*/1")
      ->type_name("SETTING")
      ->envname("MPLS_TRACE");
  app.add_option("--ring-file", options.ringFile, "Keep the ring trace in this file")
      ->type_name("FILE")
      ->check(notEmpty("FILE"));
}

bool parse(CLI::App& app, int argc, const char* const* argv, int& exitCode) {
  try {
    app.parse(argc, argv);
    return true;
  } catch (const CLI::ParseError& problem) {
    exitCode = app.exit(problem) == 0 ? exitGood : exitUsage;
    return false;
  }
}

CLI::Validator notEmpty(const std::string& what) {
  return CLI::Validator(
      [what](const std::string& text) { return text.empty() ? "expected a " + what : ""; }, "");
}

CLI::Validator pathName() {
  return CLI::Validator(
      [](const std::string& text) {
        const bool good =
            !text.empty() && text.front() != '.' && text.find('/') == std::string::npos;
        return good
                   ? ""
                   : "expected a NAME that does not begin with \".\" and holds no \"/\", found \"" +
                         text + "\"";
      },
      "");
}

void describeRun(CLI::App& app, std::string& run) {
  app.add_option("--run", run, "Directory of what agents share in memory")
      ->type_name("DIR")
      ->envname("MPLS_RUN")
      ->check(notEmpty("DIR"))
      ->capture_default_str();
}

void describeMode(CLI::App& app, mode_t& mode, const std::string& text) {
  app.add_option_function<std::string>(
         "--mode", [&mode](const std::string& given) { mode = *modeFrom(given); }, text)
      ->type_name("OCTAL")
      ->check(CLI::Validator(modeProblem, ""))
      ->default_str(octal(mode));
}

void describe(CLI::App& app, TableOptions& options) {
  describeMode(app, options.mode, "Permissions of the directory; files get those to read");
  app.add_option("--owner", options.owner, "User that owns the tables [who runs this]")
      ->type_name("USER");
  app.add_option("--group", options.group, "Group of the tables [of who runs this]")
      ->type_name("GROUP");
}

namespace {

/// An agent whose ring trace cannot be kept is better than none.
void keepRing(const CommonOptions& options) {
  const std::string agent = options.name + (options.instance.empty() ? "" : "-" + options.instance);
  std::error_code problem;
  if (!std::filesystem::is_directory(ringParent(options.runDir), problem)) return;
  try {
    RingTrace::fileIs(ringFile(options.runDir, agent));
  } catch (const std::exception& reason) {
    Log(options.name, options.logForm).warning(reason.what());
  }
}

}  // namespace

void startTraces(const CommonOptions& options) {
  RingTrace::printOnFatalSignalIs(true);
  if (!options.trace.empty()) Forma::traceLevelsIs(options.trace);
  if (!options.ringFile.empty()) RingTrace::fileIs(options.ringFile);
  else if (options.logForm == Log::Form::agent) keepRing(options);
}

}  // namespace Agents
