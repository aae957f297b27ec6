#include "agents/static-routes/Agent.h"

#include <algorithm>
#include <stdexcept>
#include <system_error>

#include "mpls/entities/Registration.h"
#include "platform/forma/Trace.h"

namespace StaticRoutes {

namespace {

Forma::TraceHandle trace("StaticRoutesAgent");

constexpr std::string_view inputPath = "routing/mpls/route/input/";
constexpr std::string_view dynamicPath = "routing/mpls/route/input/dynamic";
constexpr std::string_view mergedPath = "routing/mpls/route/config";
constexpr std::string_view configPath = "routing/mpls/config";

template <class T>
Forma::Ptr<T> entityAt(Centrum::LocalEntityManager& manager, std::string_view path) {
  return Forma::ptrCast<T>(manager.newEntity(path, T::formaTypeName));
}

Forma::TypeRegistry entityTypes() {
  Forma::TypeRegistry registry;
  Mpls::registerEntityTypes(registry);
  return registry;
}

}  // namespace

Agent::Agent(Kiln::EventLoop& loop, const Options& options, Report& report)
    : loop_(loop),
      options_(options),
      report_(report),
      registry_(entityTypes()),
      entityManager_(Centrum::localEntityManagerFactory(loop_, registry_)),
      config_(entityAt<Mpls::Config>(*entityManager_, configPath)) {
  entityAt<Forma::Dir>(*entityManager_, dynamicPath);
  addSource({staticName, options_.staticFile}, std::string(inputPath) + staticName, false);
  for (const InputOption& option : options_.inputs)
    addSource(option, std::string(dynamicPath) + "/" + option.name, true);
}

Agent::~Agent() { entityManager_->close(); }

/// The static input is there even when no file states it.
void Agent::addSource(const InputOption& option, const std::string& path, bool dynamic) {
  const auto input = entityAt<Mpls::RouteConfigInput>(*entityManager_, path);
  const Mpls::RouteMetric metric(static_cast<std::uint8_t>(options_.metric));
  sources_.push_back(std::make_unique<Source>(option.name, option.file, metric, dynamic));
  sources_.back()->inputIs(input);
}

void Agent::start() {
  if (options_.watch) watch();  // first: what changes while we load is seen
  load();
  merge();
  std::vector<FileDiagnostic> errors;
  for (const auto& source : sources_)
    for (FileDiagnostic& error : errorsOf(*source)) errors.push_back(std::move(error));
  for (const FileDiagnostic& error : errors) report_.errorIs(error);
  report_.tableIs(follower_->view(), configView_, errors);
}

void Agent::load() {
  for (const auto& source : sources_) {
    if (source->file().empty()) continue;
    try {
      source->load(!options_.watch);
    } catch (const std::system_error& problem) {
      throw std::runtime_error(source->file() + ": cannot be read: " + problem.code().message());
    }
  }
  setConfig();
}

void Agent::merge() {
  const auto merged = entityAt<Mpls::RouteConfig>(*entityManager_, mergedPath);
  sm_ = Mpls::routeConfigMergeSmFactory(merged, entityAt<Forma::Dir>(*entityManager_, dynamicPath),
                                        sources_.front()->input(), entityManager_);
  loop_.runUntil([&] { return merged->ready(); }, Kiln::EventLoop::forever);
  std::vector<NamedInput> inputs;
  for (const auto& source : sources_) inputs.push_back({source->name(), source->input()});
  follower_ = std::make_unique<MergeFollower>(merged, std::move(inputs));
}

void Agent::watch() {
  std::vector<std::string> paths;
  for (const auto& source : sources_) paths.push_back(source->file());
  watcher_ = std::make_unique<FileWatcher>(
      loop_, std::move(paths), [this](const std::set<std::size_t>& files) { reload(files); });
}

/// A file that changes during the start was loaded then, or is reloaded after it.
void Agent::reload(const std::set<std::size_t>& files) {
  if (!follower_) return loop_.post([this, files] { reload(files); });
  for (const std::size_t i : files)
    if (!sources_[i]->file().empty()) reload(*sources_[i]);
  if (setConfig()) report_.configIs(configView_);
  for (const Change& change : follower_->takeChanges()) report_.changeIs(change);
}

void Agent::reload(Source& source) {
  FORMA_TRACE(trace, 1, "reload", " of ", source.file());
  const std::string notice = source.reload();
  for (const FileDiagnostic& error : errorsOf(source)) report_.errorIs(error);
  if (!notice.empty()) report_.noticeIs(source.file(), notice);
}

std::vector<const ConfigSource*> Agent::configSources() const {
  std::vector<const ConfigSource*> configs;
  for (const auto& source : sources_) configs.push_back(&source->config());
  return configs;
}

std::vector<FileDiagnostic> Agent::errorsOf(const Source& source) const {
  std::vector<FileDiagnostic> errors;
  for (const Diagnostic& one : source.errors()) errors.push_back({source.file(), one});
  for (const Diagnostic& one : rangeConflicts(configSources(), source.config()))
    errors.push_back({source.file(), one});
  return errors;
}

bool Agent::setConfig() {
  const ConfigView before = std::exchange(configView_, viewOf(configSources()));
  StaticRoutes::configIs(*config_, configView_);
  return configView_ != before;
}

bool Agent::clean() const {
  return std::ranges::all_of(sources_, [&](const auto& one) { return errorsOf(*one).empty(); });
}

}  // namespace StaticRoutes
