/// Puts the label ranges and interfaces of all files into the MPLS configuration.
///
/// A range is that of the first file, in the order given, that states it. Of an interface one file
/// suffices to switch MPLS off.
///
/// Thread    that of the configuration.
#pragma once

#include <map>
#include <set>
#include <string>
#include <vector>

#include "agents/routes/RouteFile.h"
#include "mpls/entities/Config.h"

namespace StaticRoutes {

/// What the files say beside routes.
struct ConfigView {
  std::map<std::string, Mpls::LabelRange> labelRanges;
  std::set<Netbase::IntfId> disabledIntfs;
  bool operator==(const ConfigView&) const = default;
};

/// What one file contributes.
struct ConfigSource {
  std::string name;
  std::map<std::string, RouteFile::Range> labelRanges;
  std::set<Netbase::IntfId> disabledIntfs;
};

/// All contributions together.
ConfigView viewOf(const std::vector<const ConfigSource*>& sources);

/// The ranges of `source` that another one before it states differently.
std::vector<Diagnostic> rangeConflicts(const std::vector<const ConfigSource*>& sources,
                                       const ConfigSource& source);

/// Makes the configured ranges and disabled interfaces of `config` those given, touching only what
/// differs.
void configIs(Mpls::Config& config, const ConfigView& view);

}  // namespace StaticRoutes
