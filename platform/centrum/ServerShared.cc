#include "platform/centrum/ServerShared.h"

#include <random>
#include <utility>

namespace Centrum {

namespace {

/// Never 0, by which clients say that they know no database.
Epoch randomEpoch() {
  std::random_device source;
  return (Epoch{source()} << 32 | source()) | 1U;
}

}  // namespace

ServerShared::ServerShared(Kiln::EventLoop& eventLoop, std::unique_ptr<Listener> from,
                           std::unique_ptr<LogFile> file, ServerOptions with)
    : loop(eventLoop),
      listener(std::move(from)),
      options(std::move(with)),
      log(std::move(file)),
      database(log.load(options.freshEpoch != 0 ? options.freshEpoch : randomEpoch())),
      gate(loop, options.snapshotsAtOnce) {}

void ServerShared::commitLog() {
  if (!logDue) return;
  logDue = false;
  log.commit(*database);
  if (log.problem() == logProblem) return;
  logProblem = log.problem();
  ++activity;
  report(logProblem.empty() ? "the log is written again" : "the log is not written: " + logProblem);
}

void ServerShared::report(const std::string& text) const {
  if (options.report) options.report(text);
}

}  // namespace Centrum
