#include "tools/mplsctl/RouteReader.h"

#include "agents/common/Paths.h"

namespace MplsCtl {

RouteReader::RouteReader(Agents::Program& program) : program_(program), dirReactor_(*this) {
  program_.mount({{Agents::mergedPath, Mpls::RouteConfig::formaTypeName, "r"},
                  {Agents::staticInputPath, Mpls::RouteConfigInput::formaTypeName, "r"},
                  {Agents::dynamicInputDir, Forma::Dir::formaTypeName, "r"}},
                 [this] { handleMounts(); });
}

void RouteReader::handleMounts() {
  merged_ = program_.entity<Mpls::RouteConfig>(Agents::mergedPath);
  paths_.push_back(Agents::mergedPath);
  addInput("static", Agents::staticInputPath);
  const auto dir = program_.entity<Forma::Dir>(Agents::dynamicInputDir);
  dirReactor_.notifierIs(dir);
  for (const auto& one : dir->entryIteratorConst()) mountInput(one.key);
}

/// Names are as the merge has them: a dynamic input never takes the name of the static one.
void RouteReader::mountInput(const Forma::Name& name) {
  const std::string path = Agents::dynamicInputDir + "/" + std::string(name.view());
  if (!program_.entity<Mpls::RouteConfigInput>(path)) return;
  const std::string shown(name.view());
  ++pendingInputs_;
  program_.mount({{path, Mpls::RouteConfigInput::formaTypeName, "r"}}, [this, shown, path] {
    --pendingInputs_;
    addInput(shown == "static" ? "dynamic/static" : shown, path);
  });
}

void RouteReader::addInput(const std::string& name, const std::string& path) {
  const auto input = program_.entity<Mpls::RouteConfigInput>(path);
  paths_.push_back(path);
  inputs_.push_back({name, input});
  if (follower_) follower_->inputIs({name, input});
}

bool RouteReader::await(const Options& options) {
  return MplsCtl::await(
      program_, options, [&] { return merged_ && pendingInputs_ == 0 && merged_->ready(); },
      Agents::mergedPath + ": not merged yet; is mpls-agent running?");
}

StaticRoutes::MergeFollower& RouteReader::follow() {
  follower_ = std::make_unique<StaticRoutes::MergeFollower>(merged_, inputs_);
  return *follower_;
}

std::vector<Centrum::MountInfo> RouteReader::published() const {
  std::vector<Centrum::MountInfo> mounts;
  for (const std::string& path : paths_) mounts.push_back(program_.manager()->mountInfo(path));
  return mounts;
}

void RouteReader::tellGone(Output& out) const {
  bool isFirst = true;
  for (const Centrum::MountInfo& mount : published()) {
    const std::string gone = Agents::ownerGoneText(mount);
    if (gone.empty()) continue;
    if (std::exchange(isFirst, false)) out.line("");
    out.redLine(mount.path + ": " + gone + ": routes as last published");
  }
}

Agents::Json RouteReader::publishers() const {
  Agents::Json all = Agents::Json::array();
  for (const Centrum::MountInfo& mount : published()) {
    Agents::Json one = {
        {"path", mount.path}, {"owner", mount.holder}, {"present", mount.ownerPresent}};
    if (!mount.ownerPresent) one["goneSeconds"] = mount.ownerAge;
    all.push_back(std::move(one));
  }
  return all;
}

}  // namespace MplsCtl
