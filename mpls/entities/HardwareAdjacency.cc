#include "mpls/entities/HardwareAdjacency.h"

namespace Mpls::Hardware {

FORMA_DEFINE_ENTITY(AdjacencyBase)
FORMA_DEFINE_ENTITY(L2Adjacency)
FORMA_DEFINE_ENTITY(Adjacency)
FORMA_DEFINE_ENTITY(PwAdjacency)
FORMA_DEFINE_ENTITY(ExtFecAdjacency)
FORMA_DEFINE_ENTITY(AdjacencySet)

AdjacencyBase::~AdjacencyBase() = default;
L2Adjacency::~L2Adjacency() = default;
Adjacency::~Adjacency() = default;
PwAdjacency::~PwAdjacency() = default;
ExtFecAdjacency::~ExtFecAdjacency() = default;
AdjacencySet::~AdjacencySet() = default;

}  // namespace Mpls::Hardware
