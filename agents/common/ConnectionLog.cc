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

/// Each state once, not once for each attempt.
bool ConnectionLog::isNews(const std::string& subject, const std::string& state) {
  return all_ && std::exchange(said_[subject], state) != state;
}

void ConnectionLog::onWaiting(const std::string& address, const std::string& problem) {
  const std::string reason = reasonOf(address, problem);
  problem_ = address + ": " + reason;
  if (isNews("", reason)) log_.warning("waiting for centrum: " + reason, {{"socket", address}});
}

void ConnectionLog::onConnected(const std::string& address) {
  if (isNews("", "connected")) log_.info("connected to centrum", {{"socket", address}});
}

void ConnectionLog::onDisconnected(const std::string& reason) {
  problem_ = reason;
  if (isNews("", "lost: " + reason)) log_.warning("connection lost: " + reason);
}

void ConnectionLog::onStalled(bool stalled) {
  if (!isNews("", stalled ? "stalled" : "back")) return;
  if (stalled) log_.warning("centrum gives no sign of life");
  else log_.info("centrum is back");
}

void ConnectionLog::onMountWaits(const Centrum::MountInfo& mount) {
  if (isNews(mount.path, "waits")) log_.info("waits for a path", {{"path", mount.path}});
}

void ConnectionLog::onMountRefused(const Centrum::MountInfo& mount) {
  const std::string text = "refused: " + mount.problem;
  if (onRefused_(mount.path)) log_.error(text, {{"path", mount.path}});
  else log_.warning(text, {{"path", mount.path}});
}

void ConnectionLog::onOwner(const Centrum::MountInfo& mount) {
  if (mount.holder.empty()) return;
  const LogFields fields = {{"path", mount.path}, {"owner", mount.holder}};
  if (!isNews(mount.path, (mount.ownerPresent ? "" : "gone ") + mount.holder)) return;
  if (mount.ownerPresent) log_.info("a path has an owner", fields);
  else log_.warning("the owner of a path is gone", fields);
}

}  // namespace Agents
