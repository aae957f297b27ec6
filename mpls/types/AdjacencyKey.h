/// What an adjacency of the LFIB is called, and the kinds of adjacencies.
#pragma once

#include <cstdint>

#include "mpls/types/Namespace.h"

namespace Mpls {

enum AdjacencyType : std::uint8_t {
  mplsUnknown_ = 0,
  mplsIp_ = 1,
  mplsPseudowire_ = 2,
  mplsExternalFec_ = 3,  ///< the adjacency is a FEC that another component programs
};
FORMA_ENUM(Mpls, AdjacencyType, mplsUnknown, mplsIp, mplsPseudowire, mplsExternalFec)

class AdjacencyKey {
  FORMA_VALUE(Mpls::AdjacencyKey, index, adjType)
  FORMA_FIELD(std::uint64_t, index, 0)
  FORMA_FIELD(AdjacencyType, adjType, mplsUnknown_)
 public:
  constexpr AdjacencyKey() = default;
  constexpr AdjacencyKey(std::uint64_t index, AdjacencyType adjType)
      : index_(index), adjType_(adjType) {}
};

}  // namespace Mpls
