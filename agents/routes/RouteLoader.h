/// Puts the routes of a file into the input that publishes them: as a candidate of their own first,
/// which is then committed.
///
/// Thread    that of the input.
/// Restart   none: what the input holds is the only state.
/// Cost      of a commit a lookup for each route of both; a route that stays as it is costs no
///           notification.
#pragma once

#include <map>

#include "agents/routes/RouteFile.h"
#include "mpls/entities/RouteConfig.h"

namespace StaticRoutes {

/// An input that holds these routes, marked `dynamic` as told, and that nobody else knows.
Forma::Ptr<Mpls::RouteConfigInput> candidateFrom(const Forma::Name& name,
                                                 const std::map<Mpls::RouteKey, Vias>& routes,
                                                 bool dynamic);

/// Makes `input` what `candidate` is, touching only what differs. A changed route gets its new vias
/// before it loses old ones: it is never without any. Raises std::runtime_error, which names the
/// first route, when some could not be written; all others are.
void commit(const Forma::Ptr<Mpls::RouteConfigInput>& input,
            const Forma::PtrConst<Mpls::RouteConfigInput>& candidate);

}  // namespace StaticRoutes
