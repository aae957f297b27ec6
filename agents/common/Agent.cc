#include "agents/common/Agent.h"

#include <signal.h>

namespace Agents {

namespace {

constexpr std::size_t firstColumn = 30;  // as that of the options

void addLine(std::string& text, const std::string& first, const std::string& second) {
  text += "  " + first + std::string(firstColumn - 2 - first.size(), ' ') + second + "\n";
}

std::string endOf(const AgentHelp& help) {
  return std::string("Ended by SIGTERM or SIGINT") +
         (help.whenDone != nullptr ? std::string(", or done (") + help.whenDone + ")" : "");
}

std::string usageOf(const AgentHelp& help) {
  std::string text = "Wrong usage";
  if (help.needs != nullptr)
    text += std::string(", or ") + help.needs + " that cannot be used at start";
  return text;
}

std::string footerOf(const AgentHelp& help) {
  std::string text = "Signals:\n";
  addLine(text, "SIGTERM, SIGINT", "End in order");
  addLine(text, "SIGHUP", help.onReload);
  text += "\nExit codes:\n";
  addLine(text, "0", endOf(help));
  if (help.mayRefusePart) addLine(text, "1", "Done, but part of the input was refused");
  addLine(text, "2", usageOf(help));
  if (help.hasDatabase) addLine(text, "3", "Refused by the database");
  addLine(text, "4", "A fault of the program");
  return text + "\n" + help.note;
}

}  // namespace

void describeAgent(CLI::App& app, CommonOptions& options, const AgentHelp& help) {
  constexpr const char* group = "Common options";
  app.description(help.description);
  app.footer(footerOf(help));
  options.logForm = Log::Form::agent;
  app.set_help_flag();  // it comes last
  app.option_defaults()->group(group);
  describeRun(app, options.runDir);
  if (help.hasDatabase) describe(app, options);
  else describeTraces(app, options);
  app.get_option("--ring-file")
      ->description("Keep the ring trace there [trace/NAME.ring in that of --run]");
  app.set_help_flag("-h,--help", "Print this and exit")->group(group);
}

void holdReload() {
  sigset_t reload;
  ::sigemptyset(&reload);
  ::sigaddset(&reload, SIGHUP);
  ::pthread_sigmask(SIG_BLOCK, &reload, nullptr);
}

std::string problemText(const std::exception_ptr& problem) {
  try {
    std::rethrow_exception(problem);
  } catch (const std::exception& what) {
    return what.what();
  }
}

}  // namespace Agents
