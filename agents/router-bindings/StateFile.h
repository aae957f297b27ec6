/// The operational state of an LDP router as management stations read it (RFC 9070, module
/// ietf-mpls-ldp, in JSON).
///
/// Thread    any.
/// Errors    Replay::InputError.
#pragma once

#include "agents/replay/Node.h"
#include "agents/router-bindings/Snapshot.h"

namespace RouterBindings {

/// The bindings and addresses in such a document; all families together.
Snapshot stateFrom(const Replay::Node& document);

/// A file of that kind, or of the kind that bindingFileFrom() reads.
Snapshot snapshotFromFile(const std::string& path);

}  // namespace RouterBindings
