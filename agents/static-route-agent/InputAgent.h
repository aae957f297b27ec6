/// Serves one input of the route merge from a file.
///
/// Thread    that of the program's loop.
/// Inputs    the file of the options.
/// Outputs   the input of the options; for the input "static", "routing/mpls/config" too.
/// Restart   starts from what is published, and changes only what differs.
#pragma once

#include <memory>

#include "agents/common/Program.h"
#include "agents/routes/FileWatcher.h"
#include "agents/routes/Source.h"
#include "agents/static-route-agent/Options.h"
#include "mpls/entities/Config.h"

namespace StaticRouteAgent {

class InputAgent {
 public:
  /// Loads the file and asks for the mounts; both arguments must outlive it. Raises
  /// std::runtime_error, which names the file, when it cannot be read.
  InputAgent(Agents::Program& program, const Options& options);

  /// Whether everything was written; the database may not have it yet.
  bool published() const { return published_; }
  /// Whether the file had no errors when it was last loaded.
  bool clean() const { return source_.errors().empty(); }

 private:
  void load();
  void publish();
  void reload();
  void publishConfig();
  void tellErrors();
  void tellRoutes();

  Agents::Program& program_;
  const Options& options_;
  StaticRoutes::Source source_;
  Forma::Ptr<Mpls::Config> config_;
  std::unique_ptr<StaticRoutes::FileWatcher> watcher_;
  bool published_ = false;
};

}  // namespace StaticRouteAgent
