/// Reads any bytes as FRR lines. What comes out obeys the bounds of the format, and is the same for
/// the routes written back as `mpls lsp` lines.
#include "agents/routes/FrrFile.h"

#include <string>

#include "fuzz/RouteFileCheck.h"

namespace {

using namespace StaticRoutes;

std::string outOf(const Mpls::Via& via) {
  if (via.labelAction() == Netbase::pop_) return "implicit-null";
  const std::uint32_t label = via.outLabel().value();
  return label < firstFreeLabel ? "explicit-null" : std::to_string(label);
}

std::string linesOf(const RouteFile& file) {
  std::string lines;
  for (const auto& [key, vias] : file.routes)
    for (const Mpls::Via& via : vias)
      lines += "mpls lsp " + std::to_string(key.topLabel().value()) + " " +
               std::string(via.nextHop().stringValue()) + " " + outOf(via) + "\n";
  return lines;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string_view text = textOf(data, size);
  const RouteFile file = frrFileFromText(text, 100);
  requireBounds(file, firstFreeLabel);
  for (const Diagnostic& one : file.diagnostics)
    require(one.place.line != 0 && one.place.column != 0);
  const RouteFile again = frrFileFromText(linesOf(file), 100);
  require(again.routes == file.routes && again.diagnostics.empty());
  routeFileFromText(text, 100);  // of whatever format it looks like
  return 0;
}
