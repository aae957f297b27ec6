#include "mpls/entities/LFibAdjacency.h"

namespace Mpls::LFib {

FORMA_DEFINE_ENTITY(AdjacencyBase)
FORMA_DEFINE_ENTITY(Adjacency)
FORMA_DEFINE_ENTITY(PwAdjacency)
FORMA_DEFINE_ENTITY(ExtFecAdjacency)

AdjacencyBase::~AdjacencyBase() = default;
Adjacency::~Adjacency() = default;
PwAdjacency::~PwAdjacency() = default;
ExtFecAdjacency::~ExtFecAdjacency() = default;

}  // namespace Mpls::LFib
