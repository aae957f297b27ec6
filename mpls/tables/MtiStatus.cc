#include "mpls/tables/MtiStatus.h"

namespace Mpls {

FORMA_DEFINE_ENTITY(MtiStatus)
FORMA_DEFINE_ENTITY(MtiStatusDir)

MtiStatus::~MtiStatus() = default;
MtiStatusDir::~MtiStatusDir() = default;

Forma::Ptr<Interface::IntfStatus const> MtiStatusDir::intfStatus(
    const Netbase::IntfId& intfId) const {
  return mtiStatusFind(intfId);
}

}  // namespace Mpls
