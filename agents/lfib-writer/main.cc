/// Keeps LFIB tables in shared memory equal to the merged static routes. See docs/agents.md.
#include <memory>
#include <stdexcept>
#include <string>
#include <system_error>

#include "agents/common/ExitCode.h"
#include "agents/lfib-writer/LfibWriter.h"
#include "platform/tarn/DirectoryStorage.h"

namespace {

using LfibWriterAgent::LfibWriter;
using LfibWriterAgent::Options;

std::string adviceFor(const std::error_code& code) {
  if (code == std::errc::address_in_use) return "; end that one, or choose another --lfib";
  if (code == std::errc::permission_denied || code == std::errc::operation_not_permitted ||
      code == std::errc::read_only_file_system)
    return "; run it as a user that may write there, or choose another --lfib";
  if (code == std::errc::no_space_on_device) return "; make room there, or choose another --lfib";
  return "";
}

std::unique_ptr<LfibWriter> writerFor(Agents::Program& program, const Options& options) {
  try {
    return std::make_unique<LfibWriter>(program, options);
  } catch (const std::system_error& problem) {
    throw std::runtime_error(problem.what() + adviceFor(problem.code()));
  }
}

int run(const Options& options) {
  Agents::startTraces(options);
  Tarn::busErrorsAreHandled();
  Agents::Program program(options, Agents::Program::Kind::follower);
  const auto writer = writerFor(program, options);
  return program.run();
}

}  // namespace

int main(int argc, char** argv) {
  return Agents::guarded("lfib-writer", [&] {
    int exitCode = Agents::exitUsage;
    const auto options = LfibWriterAgent::optionsFrom(argc, argv, exitCode);
    return options ? run(*options) : exitCode;
  });
}
