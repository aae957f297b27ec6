/// One `ip -f mpls route` command, read but not run.
#pragma once

#include <cstdint>
#include <string_view>
#include <vector>

#include "agents/routes/Words.h"
#include "mpls/types/Via.h"

namespace StaticRoutes {

struct Iproute2Command {
  enum class Verb { none, add, replace, change, append, del };

  Verb verb = Verb::none;  ///< none: a command that only shows, and holds nothing else
  Word label{};            ///< the word that gives `inLabel`
  std::uint32_t inLabel = 0;
  std::vector<Mpls::Via> vias;  ///< one at least, unless `verb` is none or del
};

/// Reads what follows `route` in a line; raises Refusal.
Iproute2Command iproute2CommandFrom(WordReader& in);

}  // namespace StaticRoutes
