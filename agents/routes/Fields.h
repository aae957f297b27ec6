/// What the formats have in common: the fields of routes.
#pragma once

#include <cstdint>
#include <optional>
#include <string_view>

#include "agents/routes/RouteFile.h"

namespace StaticRoutes {

/// The whole text as a number of that base, digits only.
std::optional<std::uint32_t> numberFromText(std::string_view text, int base = 10);

/// The whole text as the name of an interface.
std::optional<Netbase::IntfId> intfFromText(std::string_view text);

/// Labels with a meaning of their own (RFC 3032), and the first that has none.
constexpr std::uint32_t explicitNull4 = 0;
constexpr std::uint32_t explicitNull6 = 2;
constexpr std::uint32_t implicitNull = 3;
constexpr std::uint32_t firstFreeLabel = 16;

/// Makes `via` take the top label off, or put `label` in its place.
void popIs(Mpls::Via& via);
void swapIs(Mpls::Via& via, std::uint32_t label);

/// Whether a route with that many vias can take no more of them.
bool isFull(const Vias& vias);

}  // namespace StaticRoutes
