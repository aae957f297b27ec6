#include "platform/centrum/ClientGroup.h"

#include <algorithm>

namespace Centrum {

ClientGroup::~ClientGroup() = default;

void ClientGroup::doMount(const Forma::String8& path, const Forma::String8& typeName,
                          const Forma::String8& mode) {
  if (closed_) Forma::throwRangeException("MountGroup::doMount after doClose not allowed");
  checkMountMode(mode);
  wishes_.push_back(
      {std::string(path.view()), std::string(typeName.view()), std::string(mode.view())});
}

void ClientGroup::doClose(Forma::Ptr<MountCallback> callback, double delay) {
  if (closed_) Forma::throwRangeException("MountGroup::doClose a second time not allowed");
  callback_ = Forma::validPtr(std::move(callback));
  closed_ = true;
  manager_->groups_.emplace_back(this);
  const auto begin = [self = Forma::Ptr<ClientGroup>(this)] { self->start(); };
  Kiln::EventLoop& loop = manager_->loop_;
  if (delay > 0) loop.timers().timerIs(loop.now() + delay, begin);
  else loop.post(begin);
}

void ClientGroup::start() {
  if (!callback_) return;
  started_ = true;
  for (const Wish& wish : wishes_) {
    const MountResult result = manager_->mountIs(wish.path, wish.typeName, wish.mode);
    if (result.mount) {
      mounts_.push_back(result.mount);
      ++result.mount->groups;
    } else if (refusal_ == mountPending_) {
      refusal_ = result.status;
    }
  }
  check();
}

void ClientGroup::check() {
  if (!callback_ || !started_) return;
  if (refusal_ != mountPending_) return complete(refusal_);
  for (const ClientMount* mount : mounts_)
    if (mount->failed()) return complete(mount->status);
  if (std::ranges::all_of(mounts_, [](const auto* mount) { return mount->ready(); }))
    complete(mountSuccess_);
}

void ClientGroup::complete(MountStatus status) {
  const Forma::Ptr<ClientGroup> self(this);
  const Forma::Ptr<MountCallback> callback = std::exchange(callback_, nullptr);
  std::erase(manager_->groups_, self);
  for (ClientMount* mount : mounts_) {
    if (status == mountSuccess_) mount->handedOut = true;
    else manager_->unwanted(*mount);
  }
  manager_->loop_.post([callback, status, self] {
    ClientManager& manager = *self->manager_;
    if (manager.closed_) return;
    try {
      callback->doMountsComplete(status, self->manager_);
    } catch (...) {
      manager.loop_.exceptionIs(std::current_exception());
    }
    if (status != mountSuccess_) return;
    for (ClientMount* mount : self->mounts_) manager.adopted(*mount);
  });
}

}  // namespace Centrum
