#include "platform/interface/IntfStatus.h"

namespace Interface {

FORMA_DEFINE_ENTITY(IntfStatus)
FORMA_DEFINE_ENTITY(IntfStatusDirBase)

IntfStatus::~IntfStatus() = default;
IntfStatusDirBase::~IntfStatusDirBase() = default;

}  // namespace Interface
