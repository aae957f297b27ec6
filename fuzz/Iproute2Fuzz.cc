/// Reads any bytes as iproute2 commands. What comes out obeys the bounds of the format, and is the
/// same for the routes written back as commands.
#include "agents/routes/Iproute2File.h"

#include <string>

#include "fuzz/RouteFileCheck.h"

namespace {

using namespace StaticRoutes;

std::string hopOf(const Mpls::Via& via) {
  std::string hop = " nexthop";
  if (via.labelAction() == Netbase::swap_) hop += " as " + std::to_string(via.outLabel().value());
  const Netbase::IpGenAddr& to = via.nextHop();
  if (to.isSet()) hop += (to.isV4() ? " via inet " : " via inet6 ") + std::string(to.stringValue());
  if (!via.intf().empty()) hop += " dev " + std::string(via.intf().name());
  return hop + " weight " + std::to_string(via.weight());
}

/// One command for each via: those of a route may differ in how they treat the TTL.
std::string commandsOf(const RouteFile& file) {
  std::string lines;
  for (const auto& [key, vias] : file.routes) {
    for (const Mpls::Via& via : vias) {
      lines += "ip -f mpls route append " + std::to_string(key.topLabel().value()) + hopOf(via);
      if (via.ttlMode() == Mpls::uniform_) lines += " ttl-propagate enabled";
      if (via.ttlMode() == Mpls::pipe_) lines += " ttl-propagate disabled";
      lines += "\n";
    }
  }
  return lines;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string_view text = textOf(data, size);
  const RouteFile file = iproute2FileFromText(text, 100);
  requireBounds(file, 0);
  for (const Diagnostic& one : file.diagnostics)
    require(one.place.line != 0 && one.place.column != 0);
  const RouteFile again = iproute2FileFromText(commandsOf(file), 100);
  require(again.routes == file.routes && again.diagnostics.empty());
  return 0;
}
