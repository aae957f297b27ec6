/// Text of others, made safe for a log line or a table.
#pragma once

#include <string>
#include <string_view>

namespace Agents {

/// The text, with \xNN for each byte that is not printable ASCII.
std::string printable(std::string_view text);

}  // namespace Agents
