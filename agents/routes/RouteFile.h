/// What a file of static routes says, whatever its format. Pure text in, values out: no entity, no
/// file system.
///
/// Thread    any.
/// Errors    none raised: what cannot be read becomes a diagnostic, and the rest is kept.
/// Cost      n log n in the size of the text.
#pragma once

#include <map>
#include <set>
#include <string>
#include <string_view>
#include <vector>

#include "agents/routes/Diagnostic.h"
#include "mpls/types/LabelRange.h"
#include "mpls/types/RouteKey.h"
#include "mpls/types/Via.h"

namespace StaticRoutes {

using Vias = std::set<Mpls::Via>;

enum class Format { frr, iproute2, sonic };

struct RouteFile {
  /// A label range, and where the file states it.
  struct Range {
    Mpls::LabelRange range;
    Place place;
  };

  std::map<Mpls::RouteKey, Vias> routes;     ///< each has a via at least
  std::map<std::string, Range> labelRanges;  ///< by the names of Mpls::LabelRangeInfo
  std::set<Netbase::IntfId> disabledIntfs;   ///< where MPLS is switched off
  std::vector<Diagnostic> diagnostics;       ///< in the order of the file
  /// The text as a whole is not of its format: what routes it states is not known.
  bool unusable = false;
};

/// The format by content: JSON when the first character that is no blank is '[' or '{'; otherwise
/// the first line that only one of the others can have decides. FRR when there is none.
Format formatOf(std::string_view text);

/// Reads a file of any of the formats. `metric` is that of its routes, since no format has one.
RouteFile routeFileFromText(std::string_view text, Mpls::RouteMetric metric);

}  // namespace StaticRoutes
