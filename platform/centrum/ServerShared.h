/// What the parts of one server share.
///
/// Thread    that of the event loop.
#pragma once

#include <cstdint>
#include <memory>
#include <string>

#include "platform/centrum/Server.h"
#include "platform/centrum/SnapshotGate.h"

namespace Centrum {

struct ServerShared {
  ServerShared(Kiln::EventLoop& eventLoop, std::unique_ptr<Listener> from,
               std::unique_ptr<LogFile> file, ServerOptions with);

  /// Writes what was noted in the log, if anything was.
  void commitLog();
  /// Tells people.
  void report(const std::string& text) const;

  Kiln::EventLoop& loop;
  const std::unique_ptr<Listener> listener;
  const ServerOptions options;
  DatabaseLog log;
  const std::unique_ptr<Database> database;
  SnapshotGate gate;
  bool logDue = false;     ///< something was noted in the log
  std::string logProblem;  ///< as reported
  /// Counts changes of what the status shows; ages, and what the status itself causes, apart.
  std::uint64_t activity = 0;
};

}  // namespace Centrum
