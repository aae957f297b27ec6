/// Who wrote an entry of the LFIB. The number is part of the keys in shared memory.
#pragma once

#include <cstdint>

#include "mpls/types/Namespace.h"

namespace Mpls::LFib {

enum Source : std::uint32_t {
  lfibSourceUnknown_ = 0,
  lfibSourceStaticMpls_ = 1,
  lfibSourceBgpL2Evpn_ = 2,
  lfibSourceBgpL3Vpn_ = 3,
  lfibSourceRsvp_ = 4,
  lfibSourcePseudowire_ = 5,
  lfibSourceLdp_ = 6,
  lfibSourceIsisSrV4Prefix_ = 7,
  lfibSourceIsisSrV4Adj_ = 8,
  lfibSourceIsisSrV6Prefix_ = 9,
  lfibSourceIsisSrV6Adj_ = 10,
  lfibSourceIsisSrToLdp_ = 11,
  lfibSourceLdpToIsisSr_ = 12,
  lfibSourceBgpLu_ = 13,
  lfibSourceSrTePolicy_ = 14,
  lfibSourceDebug_ = 15,
  lfibSourceMax_ = 16,  ///< the number of sources; never one itself
};
FORMA_ENUM(Mpls::LFib, Source, lfibSourceUnknown, lfibSourceStaticMpls, lfibSourceBgpL2Evpn,
           lfibSourceBgpL3Vpn, lfibSourceRsvp, lfibSourcePseudowire, lfibSourceLdp,
           lfibSourceIsisSrV4Prefix, lfibSourceIsisSrV4Adj, lfibSourceIsisSrV6Prefix,
           lfibSourceIsisSrV6Adj, lfibSourceIsisSrToLdp, lfibSourceLdpToIsisSr, lfibSourceBgpLu,
           lfibSourceSrTePolicy, lfibSourceDebug, lfibSourceMax)

}  // namespace Mpls::LFib
