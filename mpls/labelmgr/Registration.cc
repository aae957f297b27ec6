#include "mpls/labelmgr/Registration.h"

#include "mpls/entities/Registration.h"
#include "mpls/labelmgr/LabelManagerClient.h"
#include "platform/kiln/Registration.h"

namespace Mpls {

void registerLabelManagerTypes(Forma::TypeRegistry& registry) {
  registerEntityTypes(registry);
  Kiln::registerTypes(registry);
  registry.addEntity<LabelManagerClient, LabelManagerClientInfo>();
}

}  // namespace Mpls
