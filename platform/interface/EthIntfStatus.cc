#include "platform/interface/EthIntfStatus.h"

namespace Interface {

FORMA_DEFINE_ENTITY(EthIntfStatus)

EthIntfStatus::~EthIntfStatus() = default;

}  // namespace Interface
