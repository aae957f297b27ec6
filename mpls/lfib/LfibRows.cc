// The text and wire forms of the rows of the LFIB tables, and what stands behind their functions.
#include "mpls/lfib/LfibDot1qTagToVlan.h"
#include "mpls/lfib/LfibEvpnEthernetSegmentFilterVia.h"
#include "mpls/lfib/LfibEvpnVlanAwareVia.h"
#include "mpls/lfib/LfibIpLookupVia.h"
#include "mpls/lfib/LfibMplsVia.h"
#include "mpls/lfib/LfibPwVia.h"
#include "mpls/lfib/LfibRoute.h"
#include "mpls/lfib/LfibViaSet.h"
#include "mpls/lfib/LfibVlanVia.h"
#include "mpls/lfib/RouteInfo.h"
#include "platform/forma/Assert.h"

namespace Mpls {

FORMA_DEFINE_VALUE(LfibRoute)
FORMA_DEFINE_VALUE(LfibViaSet)
FORMA_DEFINE_VALUE(LfibMplsVia)
FORMA_DEFINE_VALUE(LfibPwVia)
FORMA_DEFINE_VALUE(LfibIpLookupVia)
FORMA_DEFINE_VALUE(LfibVlanVia)
FORMA_DEFINE_VALUE(LfibEvpnVlanAwareVia)
FORMA_DEFINE_VALUE(LfibEvpnEthernetSegmentFilterVia)
FORMA_DEFINE_VALUE(LfibEvpnVlanFloodVia)
FORMA_DEFINE_VALUE(LfibEvpnVlanAwareFloodVia)
FORMA_DEFINE_VALUE(LfibDot1qTagToVlanComposite)
FORMA_DEFINE_VALUE(RouteInfo)

LfibMplsVia::LfibMplsVia(const Forma::String8& text) { Forma::strepToValue(text, this); }

void LfibIpLookupVia::vrfNameIs(std::string_view name) {
  FORMA_ASSERT_TEXT(name.size() <= L3::VrfName::maxLength(),
                    "name.size() <= L3::VrfName::maxLength()", "VrfName::bytes > 100 not allowed");
  vrfNameBufferTextIs(name);
}

}  // namespace Mpls
