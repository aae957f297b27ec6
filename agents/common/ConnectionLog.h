/// Tells people how the connection to the database and the mounts stand: each state once.
///
/// Thread    that of the event loop.
#pragma once

#include <functional>
#include <map>
#include <string>

#include "agents/common/Log.h"
#include "platform/centrum/ConnectedEntityManager.h"

namespace Agents {

/// "mpls-agent (pid 12, uid 0) is gone since 3.2 s"; empty while the path has an owner.
std::string ownerGoneText(const Centrum::MountInfo& mount);

class ConnectionLog : public Centrum::ConnectionObserver {
 public:
  /// Whether the program ends of it.
  using RefusedHandler = std::function<bool(const std::string& path)>;
  /// `onRefused` is called when the database refuses a mount, and that is told. Without `all`,
  /// nothing but that is told.
  ConnectionLog(Log& log, bool all, RefusedHandler onRefused);

  /// Why there is no connection, or what ended the last one; empty when there was no trouble.
  const std::string& problem() const { return problem_; }

  void onWaiting(const std::string& address, const std::string& problem) override;
  void onConnected(const std::string& address) override;
  void onDisconnected(const std::string& reason) override;
  void onStalled(bool stalled) override;
  void onMountWaits(const Centrum::MountInfo& mount) override;
  void onMountRefused(const Centrum::MountInfo& mount) override;
  void onOwner(const Centrum::MountInfo& mount) override;

 private:
  /// Whether it is to be told; `subject` is a path, empty for the connection.
  bool isNews(const std::string& subject, const std::string& state);

  Log& log_;
  const bool all_;
  const RefusedHandler onRefused_;
  std::string problem_;
  std::map<std::string, std::string> said_;  // by subject
};

}  // namespace Agents
