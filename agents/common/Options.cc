#include "agents/common/Options.h"

#include "agents/common/ExitCode.h"
#include "platform/forma/Trace.h"
#include "platform/ringtrace/RingTrace.h"

namespace Agents {

void describe(CLI::App& app, CommonOptions& options) {
  app.set_version_flag("--version", options.name + " " MPLS_VERSION);
  app.add_option("--socket", options.socket, "Where centrum listens")
      ->type_name("PATH")
      ->envname("MPLS_CENTRUM")
      ->check(notEmpty("PATH"))
      ->capture_default_str();
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

void startTraces(const CommonOptions& options) {
  RingTrace::printOnFatalSignalIs(true);
  if (!options.trace.empty()) Forma::traceLevelsIs(options.trace);
  if (!options.ringFile.empty()) RingTrace::fileIs(options.ringFile);
}

}  // namespace Agents
