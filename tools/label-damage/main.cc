/// For drills: overwrites a published label block while no label manager runs, so that one can be
/// seen to find it. Not installed. `./run demo` and the tests use it.
#include <cstdint>

#include "agents/common/ExitCode.h"
#include "agents/common/Paths.h"
#include "agents/common/Program.h"
#include "mpls/entities/ApiStatus.h"

namespace {

constexpr const char* name = "label-damage";

struct Options : Agents::CommonOptions {
  std::string client;
  std::string id;
  std::uint32_t start = 0;
};

/// Adopts what is published, as the label manager does: the database lets nobody else write while
/// that one is there.
int run(const Options& options) {
  Agents::Program program(options, Agents::Program::Kind::query);
  bool done = false;
  program.mount({{Agents::apiStatusPath, Mpls::Api::Status::formaTypeName, "w"}}, [&] {
    const auto status = program.entity<Mpls::Api::Status>(Agents::apiStatusPath);
    status->newLabelBlockAllocation(Forma::Name(options.client))
        ->blockIs(Forma::Name(options.id), Mpls::LabelBlock(options.start));
    done = true;
  });
  return program.run([&] { return done && program.manager()->allSent(); });
}

}  // namespace

int main(int argc, char** argv) {
  return Agents::guarded(name, [&] {
    Options options;
    options.name = name;
    CLI::App app("Overwrites a published label block, for drills: let no label manager run.", name);
    app.add_option("CLIENT", options.client, "Whose block it is")->required();
    app.add_option("ID", options.id, "That of the request")->required();
    app.add_option("START", options.start, "Its new first label")
        ->required()
        ->check(CLI::Range(0U, Netbase::MplsLabel::max));
    Agents::describe(app, options);
    int exitCode = Agents::exitUsage;
    return Agents::parse(app, argc, argv, exitCode) ? run(options) : exitCode;
  });
}
