#include "mpls/routeconfig/RouteConfigMergeSm.h"

#include "mpls/routeconfig/RouteConfigMounter.h"
#include "platform/forma/Assert.h"
#include "platform/forma/Trace.h"
#include "platform/ringtrace/RingTrace.h"

namespace Mpls {

namespace {

Forma::TraceHandle trace("RouteConfigMergeSm");

/// A reader that throws must not stop a pass: its exception is raised when the pass is over.
template <class Step>
void keepFirst(std::exception_ptr& first, Step step) {
  try {
    step();
  } catch (...) {
    if (!first) first = std::current_exception();
  }
}

}  // namespace

Forma::Ptr<RouteConfigMergeSm> routeConfigMergeSmFactory(
    Forma::Ptr<RouteConfig> routeConfig, Forma::Ptr<Forma::Dir const> configDir,
    Forma::Ptr<RouteConfigInput const> staticInput,
    Forma::Ptr<Centrum::EntityManager> entityManager) {
  if (!routeConfig) Forma::throwNullParameter("Mpls::RouteConfigMergeSm", "routeConfig");
  Forma::Ptr<RouteConfigMergeSm> sm(new RouteConfigMergeSm(
      std::move(routeConfig), Forma::validPtr(std::move(configDir)),
      Forma::validPtr(std::move(staticInput)), Forma::validPtr(std::move(entityManager))));
  sm->handleInitialized();  // not in the constructor: mounters hold pointers to the machine
  return sm;
}

RouteConfigMergeSm::RouteConfigMergeSm(Forma::Ptr<RouteConfig> routeConfig,
                                       Forma::Ptr<Forma::Dir const> configDir,
                                       Forma::Ptr<RouteConfigInput const> staticInput,
                                       Forma::Ptr<Centrum::EntityManager> entityManager)
    : routeConfig_(std::move(routeConfig)),
      configDir_(std::move(configDir)),
      staticInput_(std::move(staticInput)),
      entityManager_(std::move(entityManager)),
      configDirReactor_(*this) {
  configDirReactor_.notifierIs(configDir_);
}

RouteConfigMergeSm::~RouteConfigMergeSm() = default;

void RouteConfigMergeSm::handleInitialized() {
  FORMA_TRACE(trace, 8, "handleInitialized");
  FORMA_ASSERT_TEXT(!mergedConfig()->routes(), "!mergedConfig()->routes()",
                    "merged config should not have any routes on startup");
  FORMA_ASSERT_TEXT(!mergedConfig()->ready(), "!mergedConfig()->ready()",
                    "merged config should not be ready on startup");
  initialized_ = true;
  configIs(staticInput_->name(), staticInput_);
  for (const auto& one : configDir_->entryIteratorConst()) pendingMountIs(one.key, true);
  handlePendingMount();
  for (const auto& one : configDir_->entryIteratorConst()) handleConfigDirEntry(one.key);
}

void RouteConfigMergeSm::handleConfigDirEntry(const Forma::Name& name) {
  if (!initialized_) return;
  FORMA_TRACE(trace, 8, "handleConfigDirEntry", " for ", name);
  if (!configDir_->entry(name)) {
    RingTrace::record("unhandled config-input removal of entry ", name.view());
    FORMA_ASSERT_TEXT(false, "configDir->entry( name )", "a config input was removed");
  }
  const auto mounter = routeConfigMounterFactory(name, Forma::Ptr<RouteConfigMergeSm>(this));
  const Forma::Ptr<Centrum::MountGroup> group = entityManager_->getMountGroup();
  group->doMount(RouteConfigMounter::path(name), RouteConfigInput::formaTypeName, "r");
  group->doClose(mounter);
}

void RouteConfigMergeSm::pendingMountIs(const Forma::Name& name, bool v) {
  pendingMount_.put(name, v);
  handlePendingMount();
}

void RouteConfigMergeSm::pendingMountDel(const Forma::Name& name) {
  if (pendingMount_.erase(name)) handlePendingMount();
}

void RouteConfigMergeSm::handlePendingMount() {
  if (!initialized_) return;
  FORMA_TRACE(trace, 8, "handlePendingMount", " pendingMounts ", pendingMount_.size());
  if (pendingMount_.empty()) routeConfig_->readyIs(true);
}

Forma::Ptr<RouteConfigInput const> RouteConfigMergeSm::config(const Forma::Name& name) const {
  const ConfigReactor* const found = reactor(name);
  return found ? found->notifier() : nullptr;
}

const RouteConfigMergeSm::ConfigReactor* RouteConfigMergeSm::reactor(
    const Forma::Name& name) const {
  const auto* found = config_.find(name);
  return found ? found->get() : nullptr;
}

void RouteConfigMergeSm::configIs(const Forma::Name& name,
                                  const Forma::Ptr<RouteConfigInput const>& config) {
  if (!config) Forma::throwNullParameter("Mpls::RouteConfigMergeSm", "config");
  const Forma::Ptr<RouteConfigInput const> before = this->config(name);
  if (before != config) {
    auto reactor = std::make_shared<ConfigReactor>(*this, name);
    reactor->notifierIs(config);
    config_.put(name, std::move(reactor));
  }
  std::exception_ptr first;
  if (before && before != config)
    for (const auto& one : before->routeIteratorConst())
      keepFirst(first, [&] { handleConfigEntry(name, one.key); });
  handleConfigSource(name);
  if (first) std::rethrow_exception(first);
}

void RouteConfigMergeSm::dynamicConfigIs(const Forma::Name& name,
                                         const Forma::Ptr<RouteConfigInput const>& config) {
  configIs(name == staticInput_->name() ? Forma::Name("dynamic/" + name) : name, config);
}

void RouteConfigMergeSm::handleConfigSource(const Forma::Name& name) {
  if (!initialized_) return;
  FORMA_TRACE(trace, 8, "handleConfigSource", " for ", name);
  const Forma::Ptr<RouteConfigInput const> input = config(name);
  if (!input) {
    RingTrace::record("missing expected config from ", name.view());
    FORMA_ASSERT_TEXT(false, "config( source )", "");
  }
  sourceSet_.reserve(sourceSet_.size() + input->routes());
  routeConfig_->routeReserve(routeConfig_->routes() + input->routes());
  std::exception_ptr first;
  for (const auto& one : input->routeIteratorConst())
    keepFirst(first, [&] { handleConfigEntry(name, one.key, one.value.get()); });
  if (first) std::rethrow_exception(first);
}

void RouteConfigMergeSm::handleConfigEntry(const Forma::Name& name, const RouteKey& key) {
  if (!initialized_) return;
  const ConfigReactor* const routeConfig = reactor(name);
  if (!routeConfig) {
    RingTrace::record("missing expected config from ", name.view());
    FORMA_ASSERT_TEXT(false, "routeConfig", "");
  }
  handleConfigEntry(name, key, routeConfig->notifier()->routeFind(key));
}

void RouteConfigMergeSm::handleConfigEntry(const Forma::Name& name, const RouteKey& key,
                                           const Route* route) {
  FORMA_TRACE(trace, 8, "handleConfigEntry", " for ", name, ", key ", key);
  const SourceSet* const sources = route ? addSource(key, name) : removeSource(key, name);
  setOutputForEntry(key, sources, name, route);
}

const SourceSet* RouteConfigMergeSm::addSource(const RouteKey& key, const Forma::Name& name) {
  SourceSet* const sources = sourceSet_.insert(key, SourceSet(key)).first;
  sources->sourceIs(name);
  return sources;
}

const SourceSet* RouteConfigMergeSm::removeSource(const RouteKey& key, const Forma::Name& name) {
  SourceSet* const sources = sourceSet_.find(key);
  if (!sources) return nullptr;
  sources->sourceDel(name);
  if (sources->sources() != 0) return sources;
  sourceSet_.erase(key);
  return nullptr;
}

void RouteConfigMergeSm::setOutputForEntry(const RouteKey& key, const SourceSet* sources,
                                           const Forma::Name& name, const Route* route) {
  FORMA_TRACE(trace, 8, "setOutputForEntry", " for key ", key);
  const std::size_t count = sources ? sources->sources() : 0;
  if (count != 1) {
    routeConfig_->routeDel(key);
    FORMA_TRACE(trace, 1, "setOutputForEntry", " removed merge confict entry for ", key,
                " with source count ", count);
    return;
  }
  const Forma::Name source = sources->anySource();
  const Forma::Ptr<Route const> activeEntry(source == name ? route : routeOf(source, key));
  if (!activeEntry) {
    RingTrace::record("missing expected key ", key.topLabel().value(), "/", key.metric().value(),
                      " from ", source.view());
    FORMA_ASSERT_TEXT(false, "activeEntry", "");
  }
  routeConfig_->routeIs(activeEntry);
  FORMA_TRACE(trace, 1, "setOutputForEntry", " add merged config entry for ", key, " from source ",
              source);
}

const Route* RouteConfigMergeSm::routeOf(const Forma::Name& source, const RouteKey& key) const {
  const ConfigReactor* const input = reactor(source);
  return input ? input->notifier()->routeFind(key) : nullptr;
}

}  // namespace Mpls
