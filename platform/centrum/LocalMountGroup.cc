#include "platform/centrum/LocalMountGroup.h"

#include <exception>

#include "platform/centrum/PathNames.h"
#include "platform/forma/Content.h"

namespace Centrum {

LocalMountGroup::~LocalMountGroup() = default;

void LocalMountGroup::doMount(const Forma::String8& path, const Forma::String8& typeName,
                              const Forma::String8& mode) {
  if (closed_) Forma::throwRangeException("MountGroup::doMount after doClose not allowed");
  checkMountMode(mode);
  mounts_.push_back({path, typeName, !(mode == "r"), mode == "x"});
}

void LocalMountGroup::doClose(Forma::Ptr<MountCallback> callback, double delay) {
  if (closed_) Forma::throwRangeException("MountGroup::doClose a second time not allowed");
  callback_ = Forma::validPtr(std::move(callback));
  closed_ = true;
  manager_->pending_.emplace_back(this);
  if (delay <= 0.0) return postCheck();
  Kiln::TimerWheel& timers = manager_->loop_.timers();
  timers.timerIs(timers.now() + delay,
                 [self = Forma::Ptr<LocalMountGroup>(this)] { self->check(); });
}

void LocalMountGroup::postCheck() {
  if (std::exchange(checking_, true)) return;
  manager_->loop_.post([self = Forma::Ptr<LocalMountGroup>(this)] { self->check(); });
}

void LocalMountGroup::check() {
  checking_ = false;
  watches_.clear();
  if (!callback_) return;
  bool pending = false;
  for (const Mount& mount : mounts_) {
    const MountStatus status = statusOf(mount);
    if (status == mountPending_) {
      pending = true;
      watch(mount);
    } else if (status != mountSuccess_) {
      return complete(status);
    }
  }
  if (pending) return;
  for (const Mount& mount : mounts_)
    if (mount.replacing) empty(mount);
  complete(mountSuccess_);
}

/// A replacing mount starts empty; here readers see that at once.
void LocalMountGroup::empty(const Mount& mount) {
  const Forma::Ptr<Forma::Entity> entity = manager_->getEntity(mount.path);
  if (Forma::ptrCast<Forma::Dir>(entity)) return;
  Forma::ContentApplier applier;
  applier.beginSnapshot(*entity);
  applier.endSnapshot(*entity);
  std::exception_ptr first;
  applier.tell([&](std::exception_ptr problem) {
    if (!first) first = std::move(problem);
  });
  if (first) std::rethrow_exception(first);
}

/// Creates what a writable mount asks for.
MountStatus LocalMountGroup::statusOf(const Mount& mount) {
  const Forma::EntityType* type = manager_->registry_.findEntity(mount.typeName);
  if (!type) return mountRefused_;
  Forma::Ptr<Forma::Entity> at = manager_->root_;
  for (const std::string_view name : pathNames(mount.path)) {
    const auto dir = Forma::ptrCast<Forma::Dir>(at);
    if (!dir) return mountWrongType_;
    at = dir->entry(Forma::Name(name));
    if (at) continue;
    if (!mount.writable) return mountPending_;
    if (!type->make) return mountRefused_;
    try {
      at = manager_->newEntity(mount.path, mount.typeName);
    } catch (const Forma::NameException&) {
      return mountWrongType_;
    } catch (...) {  // an observer threw; what was made stays, and the next check makes the rest
      postCheck();
      throw;
    }
    break;
  }
  return at->formaType().name == type->name ? mountSuccess_ : mountWrongType_;
}

void LocalMountGroup::watch(const Mount& mount) {
  Forma::Ptr<Forma::Dir> dir = manager_->root_;
  const auto watchOne = [&] {
    watches_.push_back(std::make_unique<Watch>(*this));
    watches_.back()->notifierIs(dir);
  };
  watchOne();
  for (const std::string_view name : pathNames(mount.path)) {
    dir = Forma::ptrCast<Forma::Dir>(dir->entry(Forma::Name(name)));
    if (!dir) return;
    watchOne();
  }
}

void LocalMountGroup::complete(MountStatus status) {
  const Forma::Ptr<LocalMountGroup> self(this);
  const Forma::Ptr<MountCallback> callback = callback_;
  if (!callback) return;  // cancelled by an observer of what was made
  cancel();
  std::erase(manager_->pending_, self);
  callback->doMountsComplete(status, manager_);
}

void LocalMountGroup::cancel() {
  callback_ = nullptr;
  watches_.clear();
}

}  // namespace Centrum
