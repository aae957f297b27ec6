/// FRR configuration lines: `mpls lsp`, and those that reserve blocks of labels.
///
/// Lines of other kinds are passed over: they configure other things. Those that begin like ours
/// are read strictly.
#pragma once

#include "agents/routes/RouteFile.h"
#include "agents/routes/Words.h"

namespace StaticRoutes {

/// Whether the line is one of those that are read, by its first words.
bool isFrrLabelLine(const Line& line);

RouteFile frrFileFromText(std::string_view text, Mpls::RouteMetric metric);

}  // namespace StaticRoutes
