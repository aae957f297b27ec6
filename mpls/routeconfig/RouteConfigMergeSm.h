/// The merge of static MPLS routes from several sources into the one effective configuration.
///
/// A key that exactly one source configures is copied from that source. A key that no source, or
/// more than one, configures is absent: there is no priority, a conflict withdraws the route.
///
/// Thread    the agent's event thread; no other.
/// Inputs    the static input, the directory of dynamic inputs and each input in it, read through
///           notifiees; never written.
/// Outputs   the merged RouteConfig; written by this machine alone. Readers hear of a key whenever
///           its route comes, goes or changes content.
/// Restart   built by one full pass; asserts that the output is empty and not ready before it.
/// Cost      one route change costs the same whatever the number of routes: a few hash lookups.
#pragma once

#include <exception>
#include <memory>

#include "mpls/entities/RouteConfig.h"
#include "mpls/routeconfig/SourceSet.h"
#include "platform/centrum/EntityManager.h"
#include "platform/forma/Dir.h"
#include "platform/forma/HashMap.h"

namespace Mpls {

class MPLS_EXPORT RouteConfigMergeSm : public Forma::PtrInterface {
 public:
  using SourceSet = Mpls::SourceSet;

  ~RouteConfigMergeSm() override;

  const Forma::Ptr<RouteConfig>& mergedConfig() const { return routeConfig_; }
  const Forma::Ptr<RouteConfig>& routeConfig() const { return routeConfig_; }
  const Forma::Ptr<Forma::Dir const>& configDir() const { return configDir_; }
  const Forma::Ptr<Centrum::EntityManager>& entityManager() const { return entityManager_; }
  /// False until the first full pass begins; handlers do nothing before.
  bool initialized() const { return initialized_; }

  /// The input of the source `name`; null when it is not available (yet).
  Forma::Ptr<RouteConfigInput const> config(const Forma::Name& name) const;
  std::size_t configs() const { return config_.size(); }
  /// Enters a source, or replaces its input, and merges its routes. Null is refused.
  void configIs(const Forma::Name& name, const Forma::Ptr<RouteConfigInput const>& config);
  /// The same for a dynamic input, called by its mounter. It never takes the static input's place:
  /// one of that name is entered as "dynamic/" and the name.
  void dynamicConfigIs(const Forma::Name& name, const Forma::Ptr<RouteConfigInput const>& config);

  /// The sources of a key; null when there are none. Valid until the next change.
  const SourceSet* sourceSet(const RouteKey& key) const { return sourceSet_.find(key); }
  /// All of them: those with two or more sources are the conflicts. Must not change during a walk.
  const Forma::HashMap<RouteKey, SourceSet>& sourceSets() const { return sourceSet_; }

  /// Dynamic inputs of the start whose mounts have not completed.
  std::size_t pendingMounts() const { return pendingMount_.size(); }
  void pendingMountIs(const Forma::Name& name, bool v);
  void pendingMountDel(const Forma::Name& name);

 private:
  friend Forma::Ptr<RouteConfigMergeSm> routeConfigMergeSmFactory(
      Forma::Ptr<RouteConfig> routeConfig, Forma::Ptr<Forma::Dir const> configDir,
      Forma::Ptr<RouteConfigInput const> staticInput,
      Forma::Ptr<Centrum::EntityManager> entityManager);

  /// Watches the routes of one input.
  struct ConfigReactor : RouteConfigInput::NotifieeConst {
    ConfigReactor(RouteConfigMergeSm& sm, Forma::Name name) : owner(sm), source(std::move(name)) {}
    void onRoute(const RouteKey& key) override { owner.handleConfigEntry(source, key); }
    RouteConfigMergeSm& owner;
    Forma::Name source;
  };
  /// Watches the directory of dynamic inputs.
  struct ConfigDirReactor : Forma::Dir::NotifieeConst {
    explicit ConfigDirReactor(RouteConfigMergeSm& sm) : owner(sm) {}
    void onEntry(const Forma::Name& name) override { owner.handleConfigDirEntry(name); }
    RouteConfigMergeSm& owner;
  };

  RouteConfigMergeSm(Forma::Ptr<RouteConfig> routeConfig, Forma::Ptr<Forma::Dir const> configDir,
                     Forma::Ptr<RouteConfigInput const> staticInput,
                     Forma::Ptr<Centrum::EntityManager> entityManager);

  void handleInitialized();
  void handleConfigDirEntry(const Forma::Name& name);
  void handlePendingMount();
  void handleConfigSource(const Forma::Name& name);
  void handleConfigEntry(const Forma::Name& name, const RouteKey& key);
  /// `route` is what the source `name` has at `key`; null for nothing.
  void handleConfigEntry(const Forma::Name& name, const RouteKey& key, const Route* route);
  /// The one place that writes routes of the output. `sources` are those of `key`.
  void setOutputForEntry(const RouteKey& key, const SourceSet* sources, const Forma::Name& name,
                         const Route* route);
  /// Both give the sources of `key` after the change; null for none.
  const SourceSet* addSource(const RouteKey& key, const Forma::Name& name);
  const SourceSet* removeSource(const RouteKey& key, const Forma::Name& name);
  const ConfigReactor* reactor(const Forma::Name& name) const;
  const Route* routeOf(const Forma::Name& source, const RouteKey& key) const;

  Forma::Ptr<RouteConfig> routeConfig_;
  Forma::Ptr<Forma::Dir const> configDir_;
  Forma::Ptr<RouteConfigInput const> staticInput_;
  Forma::Ptr<Centrum::EntityManager> entityManager_;
  ConfigDirReactor configDirReactor_;
  Forma::HashMap<Forma::Name, std::shared_ptr<ConfigReactor>> config_;
  Forma::HashMap<RouteKey, SourceSet> sourceSet_;
  Forma::HashMap<Forma::Name, bool> pendingMount_;
  bool initialized_ = false;
};

/// Makes the machine and runs its first full pass. A null `routeConfig` raises NullException "null
/// _routeConfig parameter to mutator for Mpls::RouteConfigMergeSm::routeConfig not allowed",
/// another null "null ValidPtr". Aborts when the merged configuration is not empty, or ready.
MPLS_EXPORT Forma::Ptr<RouteConfigMergeSm> routeConfigMergeSmFactory(
    Forma::Ptr<RouteConfig> routeConfig, Forma::Ptr<Forma::Dir const> configDir,
    Forma::Ptr<RouteConfigInput const> staticInput,
    Forma::Ptr<Centrum::EntityManager> entityManager);

}  // namespace Mpls
