/// Reads the merged routes and the inputs that they come from.
///
/// Thread    that of the program's loop.
/// Inputs    all of "routing/mpls/route", mounted read-only; inputs that appear later, too.
#pragma once

#include <functional>
#include <memory>
#include <vector>

#include "agents/common/JsonWriter.h"
#include "agents/routes/MergedView.h"
#include "tools/mplsctl/Output.h"
#include "tools/mplsctl/Query.h"

namespace MplsCtl {

class RouteReader {
 public:
  /// Asks for the mounts; the program must outlive it.
  explicit RouteReader(Agents::Program& program);

  /// Waits until everything that there is was read, and merged; as MplsCtl::await.
  bool await(const Options& options);
  /// Follows what was read. To be called once, after await().
  StaticRoutes::MergeFollower& follow();

  /// A line for each publisher that is gone, its routes being as it last published them.
  void tellGone(Output& out) const;
  /// For each path: who publishes it, and since when nobody does.
  Agents::Json publishers() const;

 private:
  struct DirReactor : Forma::Dir::NotifieeConst {
    explicit DirReactor(RouteReader& reader) : owner(reader) {}
    void onEntry(const Forma::Name& name) override { owner.mountInput(name); }
    RouteReader& owner;
  };

  void handleMounts();
  void mountInput(const Forma::Name& name);
  void addInput(const std::string& name, const std::string& path);
  std::vector<Centrum::MountInfo> published() const;

  Agents::Program& program_;
  DirReactor dirReactor_;
  Forma::Ptr<Mpls::RouteConfig> merged_;  // null until all that follows is mounted
  std::size_t pendingInputs_ = 0;
  std::vector<StaticRoutes::NamedInput> inputs_;
  std::vector<std::string> paths_;  // what is mounted, directories apart
  std::unique_ptr<StaticRoutes::MergeFollower> follower_;
};

}  // namespace MplsCtl
