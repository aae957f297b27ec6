// What the connection brings: its comings and goings, and the messages of the server.
#include <utility>

#include "platform/centrum/ClientGroup.h"
#include "platform/centrum/ClientManager.h"

namespace Centrum {

void ClientManager::linkWaits(const std::string& problem) {
  observer_->onWaiting(link_.address(), problem);
}

void ClientManager::linkIsUp(const Message::Welcome& welcome) {
  epoch_ = welcome.epoch;
  sequence_ = welcome.sequence;
  observer_->onConnected(link_.address());
  for (const auto& mount : mounts_)
    if (!mount->failed() && !mount->lost) request(*mount);
}

void ClientManager::linkIsDown(const std::string& reason) {
  byNumber_.clear();
  givenBack_.clear();
  for (const auto& mount : mounts_) {
    if (std::exchange(mount->current, false)) {
      mount->epoch = epoch_;
      mount->sequence = sequence_;
    }
    mount->granted = mount->waitingTold = false;
    mount->content.reset();
    // Nobody has seen it yet: what is published when the connection is back is to be adopted.
    if (mount->info.mode == "w" && mount->writable() && !mount->handedOut) {
      mount->content.filledIsNot();
      mount->committed = false;
    }
    if (!mount->failed() && !mount->lost)
      stateIs(*mount, mount->content.filled() ? MountState::stale : MountState::waiting);
  }
  tellChanges();  // of what was being filled: what comes next may undo them
  observer_->onDisconnected(reason);
}

void ClientManager::linkStalled(bool stalled) { observer_->onStalled(stalled); }

void ClientManager::linkReceived(const Message::Any& message) {
  std::visit(
      [this](const auto& one) {
        if constexpr (requires { received(one); }) received(one);
        else Forma::throwParseException("a message of a client");
      },
      message);
}

void ClientManager::received(const Message::Mounted& mounted) {
  if (mounted.request == 0 || mounted.request > mounts_.size())
    Forma::throwParseException("a mount that was not asked for");
  ClientMount& mount = *mounts_[mounted.request - 1];
  const auto status = static_cast<MountStatus>(mounted.status);
  if (status == mountSuccess_) return granted(mount, mounted);
  if (status != mountPending_) return refused(mount, status, mounted.text.view());
  stateIs(mount, mount.content.filled() ? MountState::stale : MountState::waiting);
  if (!std::exchange(mount.waitingTold, true)) observer_->onMountWaits(infoOf(mount));
}

void ClientManager::received(const Message::Delta& delta) {
  ClientMount* const mount = mountOf(delta.path);
  if (!mount || (mount->writable() && mount->content.filled())) return;  // ours is what counts
  touch(*mount);
  mount->content.received(delta);
}

/// Costs what arrived, whatever the number of mounts.
void ClientManager::received(const Message::Mark& mark) {
  if (mark.complete) sequence_ = mark.sequence;
  for (ClientMount* mount : std::exchange(touched_, {})) {
    mount->touched = false;
    counters_.changesApplied += mount->content.mark();
    tellChanges();  // so that whoever hears of one path finds in others what it was told of them
    if (!mount->granted) continue;
    if (mount->content.filled() && mount->info.state == MountState::filling) filled(*mount);
    if (!mark.complete || !mount->content.filled()) {
      touch(*mount);  // until it is complete
      continue;
    }
    mount->current = true;
    if (mount->info.state == MountState::stale) stateIs(*mount, MountState::mounted);
  }
  if (std::exchange(readinessChanged_, false)) checkGroups();
}

/// A copy is whole for the first time.
void ClientManager::filled(ClientMount& mount) {
  mount.status = mountSuccess_;
  readinessChanged_ = true;
  stateIs(mount, MountState::mounted);
  if (!mount.writable()) return;
  own(mount);
  // What was adopted is published already.
  if (mount.info.mode == "w" && mount.writer != 0) mount.committed = true;
  sendIsDue(mount);
}

void ClientManager::tellChanges() {
  applier_.tell([this](const std::exception_ptr& problem) { loop_.exceptionIs(problem); });
}

void ClientManager::checkGroups() {
  for (const auto& group : std::vector(groups_)) group->check();
}

void ClientManager::received(const Message::Owner& owner) {
  ClientMount* const mount = mountOf(owner.path);
  if (!mount) return;
  const bool news = mount->info.ownerPresent != owner.present && !mount->info.holder.empty();
  mount->info.ownerPresent = owner.present;
  mount->info.holder = owner.holder.view();
  mount->ownerSince = loop_.now() - owner.age;
  if (news && !mount->directory) observer_->onOwner(infoOf(*mount));
}

void ClientManager::received(const Message::Removed& removed) {
  ClientMount* const mount = mountOf(removed.path);
  byNumber_.erase(removed.path);
  if (mount) refused(*mount, mountRemoved_, mount->info.path + " was taken away");
}

void ClientManager::received(const Message::Ack& ack) {
  ClientMount* const mount = mountOf(ack.path);
  if (!mount) return;
  mount->changes.acknowledged(ack.number);
  mount->writer = instance_;
  sendIsDue(*mount);
}

}  // namespace Centrum
