/// Why the server of the central database refuses a mount, in words for people.
///
/// Thread    that of the event loop.
#pragma once

#include <optional>
#include <string>

#include "platform/centrum/Database.h"
#include "platform/centrum/Stream.h"

namespace Centrum {

struct MountRefusal {
  MountStatus status;
  std::string text;
};

/// Each gives nothing when there is no reason of its kind.
using MountProblem = std::optional<MountRefusal>;

/// What is at the path is not what was asked for.
MountProblem otherType(const Path& path, const Message::Mount& asked);
/// What is above the path, which is not there, is no directory.
MountProblem noDirectory(const Database& database, const std::string& name);
/// The peer may not write.
MountProblem missingRight(const Listener& listener, const Peer& peer, const std::string& name);

}  // namespace Centrum
