/// Reads any bytes as a file of vias. What comes out obeys the bounds of the format; what is wrong
/// has a place.
#include "agents/lfib-writer/ViaFile.h"

#include <set>

#include "fuzz/Check.h"

namespace {

using LfibWriterAgent::ViaFile;

void requireKey(const Mpls::RouteKey& key, std::set<Mpls::RouteKey>& keys) {
  require(key.topLabel().value() >= 16 && key.topLabel().value() <= Netbase::MplsLabel::max);
  require(key.metric() == 0 && keys.insert(key).second);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const ViaFile file = LfibWriterAgent::viaFileFromText(textOf(data, size));
  for (const auto& one : file.errors) require(!one.text.empty());
  std::set<Mpls::RouteKey> keys;
  for (const auto& [key, via] : file.ipLookups) {
    requireKey(key, keys);
    require(via.addressFamily() != Netbase::afUnknown_);
    require(via.vrfNameBufferText().size() <= L3::VrfName::maxLength());
  }
  for (const auto& [key, via] : file.pseudowires) {
    requireKey(key, keys);
    require(!via.pwIntfId().empty() && via.pwType() != Mpls::pwTypeUnknown_);
  }
  require(file.tagMaps.size() <= 1);
  for (const auto& [key, tags] : file.tagMaps)
    for (const auto& [tag, vlan] : tags)
      require(tag != Netbase::VlanId() && vlan != Netbase::VlanId());
  return 0;
}
