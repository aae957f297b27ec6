/// Checks LDP tables against the state that the router itself tells of.
///
/// Thread    that of the reader.
#pragma once

#include "tools/mplsctl/LdpReader.h"
#include "tools/mplsctl/VerifyCheck.h"

namespace MplsCtl {

/// The check "state" of what the reader has read; `file` as RouterBindings::snapshotFromFile.
Check ldpStateCheck(const LdpReader& reader, const std::string& file);

}  // namespace MplsCtl
