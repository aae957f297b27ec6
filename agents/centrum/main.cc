/// Serves the central database. See docs/centrum.md.
#include <signal.h>

#include <cerrno>
#include <exception>
#include <stdexcept>
#include <string>
#include <system_error>

#include "agents/centrum/Options.h"
#include "agents/common/Agent.h"
#include "platform/centrum/Server.h"
#include "platform/centrum/ServerStatus.h"
#include "platform/centrum/UnixStream.h"
#include "platform/kiln/EventLoop.h"

namespace {

using CentrumProgram::Options;

std::string adviceFor(const std::error_code& code) {
  if (code == std::errc::address_in_use)
    return "; end what serves there, or choose another --socket and --log";
  if (code == std::errc::no_such_file_or_directory)
    return "; make the directory, or choose another --socket and --log";
  if (code == std::errc::permission_denied || code == std::errc::operation_not_permitted ||
      code == std::errc::read_only_file_system)
    return "; run it as a user that may write there, or choose another --socket and --log";
  return "";
}

Centrum::Server serverFor(const Options& options, Kiln::EventLoop& loop, Agents::Log& log) {
  Centrum::ServerOptions serverOptions;
  serverOptions.report = [&log](const std::string& text) { log.warning(text); };
  try {
    auto listener = Centrum::unixListenerFactory(loop, options.socket, options.mode);
    auto file = options.log.empty() ? nullptr : Centrum::fileLogFactory(options.log);
    return {loop, std::move(listener), std::move(file), std::move(serverOptions)};
  } catch (const std::system_error& problem) {
    throw std::runtime_error(problem.what() + adviceFor(problem.code()));
  }
}

/// Entities, but that of the server.
std::size_t pathsOf(const Centrum::Database& database) {
  std::size_t paths = 0;
  database.eachPath([&paths](const Centrum::Path& path) {
    if (!path.isDirectory() && path.fullName() != Centrum::statusPath) ++paths;
  });
  return paths;
}

/// Handles signals before it says anything, so that whoever read that may send them.
int run(const Options& options) {
  Agents::Log log(options.name, options.logForm);
  Kiln::EventLoop loop;
  for (const int signo : {SIGTERM, SIGINT}) loop.signalIs(signo, [&loop](int) { loop.stop(); });
  loop.signalIs(SIGHUP, [&log](int) { log.info("SIGHUP: there is nothing to read again"); });
  // One connection's trouble must not end the service of the others.
  loop.exceptionHandlerIs([&log](const std::exception_ptr& problem) {
    log.error("fault: " + Agents::problemText(problem));
  });
  Centrum::Server server = serverFor(options, loop, log);
  if (!server.log().notice().empty()) log.warning(server.log().notice());
  log.info("listening", {{"socket", options.socket},
                         {"epoch", server.database().epoch()},
                         {"pathsFromLog", pathsOf(server.database())}});
  loop.run();
  server.close("the server ends");
  return Agents::exitGood;
}

}  // namespace

int main(int argc, char** argv) {
  return Agents::agentMain("centrum", argc, argv, CentrumProgram::optionsFrom, run);
}
