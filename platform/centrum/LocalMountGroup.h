/// A mount group of LocalEntityManager.
#pragma once

#include <memory>
#include <vector>

#include "platform/centrum/LocalEntityManager.h"

namespace Centrum {

/// Checked in the event loop: when it is closed, and when a directory on one of its paths changes.
class LocalMountGroup : public MountGroup {
 public:
  explicit LocalMountGroup(Forma::Ptr<LocalEntityManager> manager) : manager_(std::move(manager)) {}
  ~LocalMountGroup() override;

  void doMount(const Forma::String8& path, const Forma::String8& typeName,
               const Forma::String8& mode) override;
  void doClose(Forma::Ptr<MountCallback> callback, double delay) override;

  /// Forgets the callback and the watches: nothing is called any more.
  void cancel();

 private:
  struct Mount {
    Forma::String8 path;
    Forma::String8 typeName;
    bool writable;
    bool replacing;
  };
  /// Checks again when an entry of a directory on the way to a pending entity comes or goes.
  struct Watch : Forma::Dir::NotifieeConst {
    explicit Watch(LocalMountGroup& group) : owner(group) { isWeakReferenceIs(true); }
    void onEntry(const Forma::Name& /*name*/) override { owner.postCheck(); }
    LocalMountGroup& owner;
  };

  void postCheck();
  void check();
  MountStatus statusOf(const Mount& mount);
  void watch(const Mount& mount);
  void empty(const Mount& mount);
  void complete(MountStatus status);

  Forma::Ptr<LocalEntityManager> manager_;
  Forma::Ptr<MountCallback> callback_;
  std::vector<Mount> mounts_;
  std::vector<std::unique_ptr<Watch>> watches_;
  bool closed_ = false;
  bool checking_ = false;  // a check is posted
};

}  // namespace Centrum
