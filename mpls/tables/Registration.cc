#include "mpls/tables/Registration.h"

#include "mpls/tables/LabelBindingTable.h"
#include "mpls/tables/MtiStatus.h"
#include "mpls/tables/SegmentRoutingStatus.h"
#include "mpls/types/Registration.h"
#include "platform/interface/Registration.h"

namespace Mpls {

namespace {

void registerSegmentRoutingTypes(Forma::TypeRegistry& registry) {
  using namespace Tarn::SegmentRouting;
  registry.add<Tarn::Fib::Via, Forma::BoundedArray<Tarn::Fib::Via, Tarn::Fib::ViaIndexRange>>();
  registry.add<Tarn::Fib::Route, Tarn::Fib6::Route>();
  registry.add<PfxSegmentFlags, PrefixSegment, GlobalBlock, TableInfo>();
  registry.addEntity<Tarn::SegmentRouting::Status>();
}

}  // namespace

void registerTableTypes(Forma::TypeRegistry& registry) {
  registerTypes(registry);
  registry.addEntity<MplsLabelSet, MplsTimedLabelSet, FecLabelSet, LabelBindingTable,
                     LabelBindingTableColl, IntfIpToRouterIdMappingTable>();
  registerSegmentRoutingTypes(registry);
  Interface::registerTypes(registry);
  registry.addEntity<MtiStatus, MtiStatusDir>();
}

}  // namespace Mpls
