#include "agents/common/ConnectionLog.h"

#include <iomanip>
#include <sstream>

namespace Agents {

namespace {

/// What a connector says without the place, which stands there already.
std::string reasonOf(const std::string& address, const std::string& problem) {
  const std::string::size_type at = problem.find(address + ": ");
  return at == std::string::npos ? problem : problem.substr(at + address.size() + 2);
}

}  // namespace

std::string ownerGoneText(const Centrum::MountInfo& mount) {
  if (mount.ownerPresent) return {};
  std::ostringstream text;
  text << (mount.holder.empty() ? "its publisher" : mount.holder) << " is gone since " << std::fixed
       << std::setprecision(1) << mount.ownerAge << " s";
  return text.str();
}

ConnectionLog::ConnectionLog(Log& log, bool all, RefusedHandler onRefused)
    : log_(log), all_(all), onRefused_(std::move(onRefused)) {}

void ConnectionLog::say(const std::string& subject, const std::string& state) {
  if (!all_ || std::exchange(said_[subject], state) == state) return;
  log_.say((subject.empty() ? "" : subject + ": ") + state);
}

void ConnectionLog::onWaiting(const std::string& address, const std::string& problem) {
  problem_ = address + ": " + reasonOf(address, problem);
  say("", "waiting for centrum at " + problem_);
}

void ConnectionLog::onConnected(const std::string& address) {
  say("", "connected to centrum at " + address);
}

void ConnectionLog::onDisconnected(const std::string& reason) {
  problem_ = reason;
  say("", "connection lost: " + reason);
}

void ConnectionLog::onStalled(bool stalled) {
  say("", stalled ? "centrum gives no sign of life" : "centrum is back");
}

void ConnectionLog::onMountWaits(const Centrum::MountInfo& mount) {
  say(mount.path, "waits to be created");
}

void ConnectionLog::onMountRefused(const Centrum::MountInfo& mount) {
  log_.say(mount.path + ": refused: " + mount.problem);
  onRefused_(mount.path);
}

void ConnectionLog::onOwner(const Centrum::MountInfo& mount) {
  if (mount.holder.empty()) return;
  say(mount.path,
      mount.ownerPresent ? "owned by " + mount.holder : "owner " + mount.holder + " is gone");
}

}  // namespace Agents
