/// What FRR prints as `show mpls ldp binding json`, with or without `detail`.
///
/// Thread    any.
/// Errors    Replay::InputError, "FILE: /bindings/3/prefix: expected an IP prefix, found ...".
#pragma once

#include <vector>

#include "agents/replay/Node.h"
#include "agents/router-bindings/Snapshot.h"

namespace RouterBindings {

/// Packets of a FEC go to that neighbour, with its label.
struct Use {
  Fec fec;
  Label local;
  LdpIdentifier neighbor;
  Label remote;
  auto operator<=>(const Use&) const = default;
};

struct BindingFile {
  Snapshot snapshot;  ///< without addresses; whom we told is known with `detail` only
  std::vector<Use> uses;
};

/// Reads either form: an array "bindings" with a line for each FEC and neighbour, or an object for
/// each FEC, under its prefix.
BindingFile bindingFileFrom(const Replay::Node& document);

}  // namespace RouterBindings
