#include "mpls/types/Registration.h"

#include "ldp/LdpIdentifier.h"
#include "mpls/types/AdjacencyKey.h"
#include "mpls/types/FecFilteredState.h"
#include "mpls/types/FibVia.h"
#include "mpls/types/FwdEqvClass.h"
#include "mpls/types/Hardware.h"
#include "mpls/types/L2ViaSet.h"
#include "mpls/types/LFibRoute.h"
#include "mpls/types/LabelRange.h"
#include "mpls/types/LabelSource.h"
#include "mpls/types/LabelStack.h"
#include "mpls/types/LfibFlag.h"
#include "mpls/types/PwVia.h"
#include "mpls/types/RouterId.h"
#include "mpls/types/SegmentRouting.h"
#include "mpls/types/ViaSet.h"
#include "platform/netbase/Registration.h"

namespace Mpls {

void registerTypes(Forma::TypeRegistry& registry) {
  Netbase::registerTypes(registry);
  registry.add<Ldp::LdpIdentifier>();
  registry.add<TtlMode, PayloadType, AdjacencyType, FecFilteredState, LFib::Source, LabelSource,
               Protocol, PwType>();
  registry.add<LabelRange, LabelStack, RouteMetric, RouteKey, AdjacencyKey, Via, ViaSet, PwVia,
               FibVia, FecId, LfibFlag, FwdEqvClass, RouterId>();
  registry.add<LFib::Route, Hardware::AdjacencyBaseKey, Hardware::Route, Hardware::L2Via,
               Hardware::L2ViaSet, Hardware::Via>();
  registry.add<SegmentRouting::SegmentIdentifier, SegmentRouting::AdjacencySegmentKey,
               SegmentRouting::AdjacencySegmentFlags>();
}

}  // namespace Mpls
