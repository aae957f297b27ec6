/// The agent in one process: sources, merge and report, around one event loop.
///
/// Thread    that of the loop.
/// Inputs    the files of the options.
/// Outputs   the inputs "routing/mpls/route/input/...", the configuration "routing/mpls/config";
///           through the merge, "routing/mpls/route/config".
/// Restart   everything is read from the files again.
#pragma once

#include <memory>
#include <set>
#include <vector>

#include "agents/routes/FileWatcher.h"
#include "agents/routes/Source.h"
#include "agents/static-routes/Options.h"
#include "agents/static-routes/Report.h"
#include "mpls/routeconfig/RouteConfigMergeSm.h"
#include "platform/centrum/LocalEntityManager.h"
#include "platform/forma/TypeRegistry.h"

namespace StaticRoutes {

class Agent {
 public:
  /// Loop and report must outlive it.
  Agent(Kiln::EventLoop& loop, const Options& options, Report& report);
  ~Agent();
  Agent(const Agent&) = delete;
  Agent& operator=(const Agent&) = delete;

  /// Loads the files, merges them and reports the result; follows the files from then on when the
  /// options say so. Raises std::runtime_error, which names the file, when one cannot be read.
  void start();
  /// Whether no file had errors when it was last loaded.
  bool clean() const;

 private:
  void addSource(const InputOption& option, const std::string& path, bool dynamic);
  void load();
  void merge();
  void watch();
  void reload(const std::set<std::size_t>& files);
  void reload(Source& source);
  std::vector<const ConfigSource*> configSources() const;
  std::vector<FileDiagnostic> errorsOf(const Source& source) const;
  /// Writes the configuration; whether that changed it.
  bool setConfig();

  Kiln::EventLoop& loop_;
  const Options& options_;
  Report& report_;
  Forma::TypeRegistry registry_;
  Forma::Ptr<Centrum::LocalEntityManager> entityManager_;
  Forma::Ptr<Mpls::Config> config_;
  ConfigView configView_;
  std::vector<std::unique_ptr<Source>> sources_;
  Forma::Ptr<Mpls::RouteConfigMergeSm> sm_;
  std::unique_ptr<MergeFollower> follower_;
  std::unique_ptr<FileWatcher> watcher_;
};

}  // namespace StaticRoutes
