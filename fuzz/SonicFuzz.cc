/// Reads any bytes as a SONiC table file, and as a tree of JSON. Routes obey the bounds of the
/// format; a file that is not understood as a whole gives one diagnostic and nothing else.
#include "agents/routes/SonicFile.h"

#include <string>

#include "fuzz/RouteFileCheck.h"

namespace {

using namespace StaticRoutes;

bool isActionWhole(const Mpls::Via& via) {
  const bool labelled = via.outLabel().value() <= Netbase::MplsLabel::max;
  return via.labelAction() == (labelled ? Netbase::swap_ : Netbase::pop_);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string_view text = textOf(data, size);
  const RouteFile file = sonicFileFromText(text, 100);
  requireBounds(file, 0);
  for (const auto& [key, vias] : file.routes)
    for (const Mpls::Via& via : vias) {
      require(via.nextHop().isSet() || !via.intf().empty());
      require(isActionWhole(via) && via.weight() != 0);
    }
  for (const Diagnostic& one : file.diagnostics) {
    const std::string line = lineOf("F", one);
    require(line == printable(line));
    require(one.place.pointer.empty() || one.place.pointer.front() == '/');
  }
  if (file.unusable)
    require(file.routes.empty() && file.disabledIntfs.empty() && file.diagnostics.size() == 1);
  return 0;
}
