#include "mpls/entities/Status.h"

#include "platform/forma/Assert.h"

namespace Mpls {

FORMA_DEFINE_ENTITY(Status)

Status::~Status() = default;

Forma::Ptr<LFib::AdjacencyBase> Status::getAdjacencyBase(const LFib::Route& route) const {
  const std::uint64_t index = route.adjKey().index();
  switch (route.adjKey().adjType()) {
    case mplsIp_:
      return lfibAdjacency(index);
    case mplsPseudowire_:
      return lfibPwAdjacency(index);
    case mplsExternalFec_:
      return lfibExtFecAdjacency(index);
    case mplsUnknown_:
      break;
  }
  return nullptr;
}

Forma::Ptr<LFib::Adjacency> Status::getAdjacency(const LFib::Route& route) const {
  const AdjacencyKey& adjKey = route.adjKey();
  if (adjKey == AdjacencyKey()) return nullptr;
  FORMA_ASSERT_TEXT(adjKey.adjType() == mplsIp_, "adjKey.adjType() == mplsIp_",
                    Forma::valueToStrep(route).view());
  return lfibAdjacency(adjKey.index());
}

Forma::Ptr<LFib::PwAdjacency> Status::getPwAdjacency(const LFib::Route& route) const {
  const AdjacencyKey& adjKey = route.adjKey();
  if (adjKey == AdjacencyKey()) return nullptr;
  FORMA_ASSERT_TEXT(adjKey.adjType() == mplsPseudowire_, "adjKey.adjType() == mplsPseudowire_",
                    Forma::valueToStrep(route).view());
  return lfibPwAdjacency(adjKey.index());
}

Forma::Ptr<LFib::ExtFecAdjacency> Status::getExtFecAdjacency(const LFib::Route& route) const {
  const AdjacencyKey& adjKey = route.adjKey();
  if (adjKey == AdjacencyKey()) return nullptr;
  FORMA_ASSERT_TEXT(adjKey.adjType() == mplsExternalFec_, "adjKey.adjType() == mplsExternalFec_",
                    Forma::valueToStrep(route).view());
  return lfibExtFecAdjacency(adjKey.index());
}

}  // namespace Mpls
