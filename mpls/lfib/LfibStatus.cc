#include "mpls/lfib/LfibStatus.h"

#include <string>

#include "platform/forma/Assert.h"
#include "platform/ringtrace/RingTrace.h"

namespace Mpls {

FORMA_DEFINE_ENTITY(LfibStatus)

namespace {

/// What the texts of failed checks begin with.
constexpr const char* source = "MplsLfib";
constexpr const char* mismatch = "via key and via coll type mismatch";

/// The ring trace keeps which key it was.
template <class Key>
bool holds(bool condition, const Key& key) {
  if (!condition) [[unlikely]]
    RingTrace::record(source, " check fails for ", Forma::valueToStrep(key).view());
  return condition;
}

bool isOf(LfibViaType type, const LfibViaKey& key) { return holds(key.viaType() == type, key); }

}  // namespace

LfibStatus::~LfibStatus() = default;

void LfibStatus::dot1qTagToVlanCollIs(Forma::Ptr<LfibDot1qTagToVlan> map) {
  if (!map) Forma::throwNullParameter(formaTypeName, "dot1qTagToVlanColl");
  formaMayChange();
  if (map->parent() && map->parent() != this) map->deletedIs(true);
  const LfibDot1qTagToVlanKey key = map->key();
  const Forma::Ptr<LfibDot1qTagToVlan> before = dot1qTagToVlanColl(key);
  if (before && before != map) before->formaOrphan();
  formaAdopt(*map, formaIndex("dot1qTagToVlanColl"), false);
  dot1qTagToVlanColl_.map.put(key, std::move(map));
  dot1qTagToVlanCollNotify(key);
}

void LfibStatus::handleRoute(const RouteKey& key) const {
  LfibRoute route;
  if (!lfibRouteFind(key, &route) || !isEvpnViaType(route.viaSetKey().viaType())) return;
  FORMA_THROW_TEXT(holds(key.metric() == 0, key), source, "key.metric() == 0",
                   "EVPN lfib routes must have metric set to 0");
}

void LfibStatus::handleViaSet(const LfibViaSetKey& key) const {
  LfibViaSet viaSet;
  if (!viaSetFind(key, &viaSet)) return;
  for (const LfibViaKey& viaKey : viaSet.viaKeyIteratorConst())
    FORMA_THROW_TEXT(holds(viaKey.viaType() == key.viaType(), key), source, "viaKeyType == viaType",
                     "Vias in a viaSet must always be homogeneous");
  if (!isEvpnViaType(key.viaType())) return;
  FORMA_THROW_TEXT(holds(viaSet.viaKeys() <= 1, key), source, "vs.viaKeys() <= 1",
                   "EVPN via sets must contain at most 1 via key");
}

void LfibStatus::verifyViaTypeMplsIp(const LfibViaKey& key) const {
  FORMA_THROW_TEXT(isOf(viaTypeMplsIp_, key), source, "key.viaType() == viaTypeMplsIp_", mismatch);
}

void LfibStatus::verifyViaTypeMplsPseudowire(const LfibViaKey& key) const {
  FORMA_THROW_TEXT(isOf(viaTypeMplsPseudowire_, key), source,
                   "key.viaType() == viaTypeMplsPseudowire_", mismatch);
}

void LfibStatus::verifyViaTypeIpLookup(const LfibViaKey& key) const {
  FORMA_THROW_TEXT(isOf(viaTypeIpLookup_, key), source, "key.viaType() == viaTypeIpLookup_",
                   mismatch);
}

void LfibStatus::verifyViaTypeVlan(const LfibViaKey& key) const {
  FORMA_THROW_TEXT(isOf(viaTypeVlan_, key), source, "key.viaType() == viaTypeVlan_", mismatch);
}

void LfibStatus::verifyViaTypeEvpnVlanAware(const LfibViaKey& key) const {
  FORMA_THROW_TEXT(isOf(viaTypeEvpnVlanAware_, key), source,
                   "key.viaType() == viaTypeEvpnVlanAware_", mismatch);
}

void LfibStatus::verifyViaTypeEvpnEthernetSegment(const LfibViaKey& key) const {
  FORMA_THROW_TEXT(isOf(viaTypeEvpnEthernetSegment_, key), source,
                   "key.viaType() == viaTypeEvpnEthernetSegment_", mismatch);
}

void LfibStatus::verifyViaTypeEvpnVlanFlood(const LfibViaKey& key) const {
  FORMA_THROW_TEXT(isOf(viaTypeEvpnVlanFlood_, key), source,
                   "key.viaType() == viaTypeEvpnVlanFlood_", mismatch);
}

void LfibStatus::verifyViaTypeEvpnVlanAwareFlood(const LfibViaKey& key) const {
  FORMA_THROW_TEXT(isOf(viaTypeEvpnVlanAwareFlood_, key), source,
                   "key.viaType() == viaTypeEvpnVlanAwareFlood_", mismatch);
}

}  // namespace Mpls
