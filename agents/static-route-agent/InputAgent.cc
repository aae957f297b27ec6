#include "agents/static-route-agent/InputAgent.h"

#include <stdexcept>
#include <system_error>

#include "agents/common/Paths.h"
#include "mpls/types/LabelRangeInfo.h"

namespace StaticRouteAgent {

InputAgent::InputAgent(Agents::Program& program, const Options& options)
    : program_(program),
      options_(options),
      source_(options.input, options.file, static_cast<std::uint8_t>(options.metric),
              !options.isStatic()) {
  if (options_.file.empty()) source_.clear();
  else load();
  std::vector<Agents::Wish> wishes{{options_.path(), Mpls::RouteConfigInput::formaTypeName, "w"}};
  if (options_.isStatic()) wishes.push_back({Agents::configPath, Mpls::Config::formaTypeName, "w"});
  program_.mount(wishes, [this] { publish(); });
}

/// Watches first, so that what changes while we load is seen.
void InputAgent::load() {
  if (!options_.once)
    watcher_ = std::make_unique<StaticRoutes::FileWatcher>(
        program_.loop(), std::vector{source_.file()},
        [this](const std::set<std::size_t>& /*files*/) { reload(); });
  try {
    source_.load(options_.once);
  } catch (const std::system_error& problem) {
    throw std::runtime_error(source_.file() + ": cannot be read: " + problem.code().message());
  }
  tellErrors();
  if (!options_.once) program_.onReloadIs([this] { reload(); });
}

void InputAgent::publish() {
  source_.inputIs(program_.entity<Mpls::RouteConfigInput>(options_.path()));
  if (options_.isStatic()) config_ = program_.entity<Mpls::Config>(Agents::configPath);
  published_ = true;
  publishConfig();
  tellRoutes();
}

void InputAgent::reload() {
  const std::string notice = source_.reload();
  tellErrors();
  if (!notice.empty()) program_.log().warning(source_.file() + ": " + notice);
  if (!published_) return;
  publishConfig();
  tellRoutes();
}

void InputAgent::publishConfig() {
  if (!config_ || !source_.loaded()) return;
  StaticRoutes::ConfigView view = StaticRoutes::viewOf({&source_.config()});
  if (options_.labelRange)
    view.labelRanges[std::string(Mpls::LabelRangeInfo::rangeTypeDynamic)] = *options_.labelRange;
  StaticRoutes::configIs(*config_, view);
  if (options_.mplsRouting) config_->mplsRoutingIs(*options_.mplsRouting);
}

void InputAgent::tellErrors() {
  for (const StaticRoutes::Diagnostic& one : source_.errors())
    program_.log().warning(lineOf(source_.file(), one));
}

void InputAgent::tellRoutes() {
  program_.log().info("publishes",
                      {{"routes", source_.input()->routes()}, {"path", options_.path()}});
}

}  // namespace StaticRouteAgent
