#include "mpls/entities/HardwareStatus.h"

#include "platform/forma/Assert.h"

namespace Mpls::Hardware {

FORMA_DEFINE_ENTITY(Status)

Status::~Status() = default;

Forma::Ptr<AdjacencyBase> Status::adjacencyBase(const AdjacencyBaseKey& key) const {
  switch (key.adjType()) {
    case mplsIp_:
      return adjacency(key.index());
    case mplsPseudowire_:
      return pwAdjacency(key.index());
    case mplsExternalFec_:
      return extFecAdjacency(key.index());
    case mplsUnknown_:
      FORMA_ASSERT_TEXT(false, "Invalid adjType: mplsUnknown", Forma::valueToStrep(key).view());
  }
  return nullptr;
}

}  // namespace Mpls::Hardware
