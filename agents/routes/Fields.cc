#include "agents/routes/Fields.h"

#include <charconv>

#include "mpls/types/Constants.h"
#include "platform/forma/Errors.h"

namespace StaticRoutes {

std::optional<std::uint32_t> numberFromText(std::string_view text, int base) {
  std::uint32_t number = 0;
  const char* const end = text.data() + text.size();
  const auto [stopped, error] = std::from_chars(text.data(), end, number, base);
  if (error != std::errc{} || stopped != end || text.empty()) return std::nullopt;
  return number;
}

std::optional<Netbase::IntfId> intfFromText(std::string_view text) {
  if (text.empty()) return std::nullopt;
  try {
    return Netbase::IntfId(text);
  } catch (const Forma::RangeException&) {
    return std::nullopt;
  }
}

void popIs(Mpls::Via& via) {
  via.labelActionIs(Netbase::pop_);
  via.outLabelIs(Netbase::MplsLabel());
}

void swapIs(Mpls::Via& via, std::uint32_t label) {
  via.labelActionIs(Netbase::swap_);
  via.outLabelIs(label);
}

bool isFull(const Vias& vias) { return vias.size() >= Mpls::Constants::maxEcmpSize; }

}  // namespace StaticRoutes
