/// What the routing protocols tell of segment routing (RFC 8402).
#pragma once

#include <cstdint>
#include <utility>

#include "mpls/types/FibVia.h"
#include "mpls/types/LabelRange.h"
#include "mpls/types/RouterId.h"
#include "mpls/types/SegmentRouting.h"
#include "platform/forma/Declare.h"
#include "platform/netbase/IpGenPrefix.h"

namespace Mpls::SegmentRouting {

/// An adjacency segment of this router or of another one.
class MPLS_EXPORT AdjacencySegment : public Forma::NamedEntity {
  FORMA_ENTITY(Mpls::SegmentRouting::AdjacencySegment, Forma::NamedEntity, flags, isLan, isLocal,
               level, staticSid, nexthop)
  FORMA_KEY(AdjacencySegmentKey, key)
  FORMA_ARGUMENTS(name, key)
  FORMA_ATTRIBUTE(AdjacencySegmentFlags, flags, onFlags)
  /// The adjacency is over a network of many routers.
  FORMA_ATTRIBUTE(bool, isLan, onIsLan)
  /// The adjacency is one of this router.
  FORMA_ATTRIBUTE(bool, isLocal, onIsLocal)
  /// The IS-IS level, 1 or 2; 0 when it is not known.
  FORMA_ATTRIBUTE(std::uint8_t, level, onLevel)
  /// The segment was configured rather than allocated.
  FORMA_ATTRIBUTE(bool, staticSid, onStaticSid)
  FORMA_VALUES(FibVia, bool, nexthop, newNexthop, onNexthop)

 public:
  class NotifieeConst : public Forma::NotifieeOf<AdjacencySegment> {
   public:
    virtual void onFlags() {}
    virtual void onIsLan() {}
    virtual void onIsLocal() {}
    virtual void onLevel() {}
    virtual void onStaticSid() {}
    virtual void onNexthop(const FibVia& /*nexthop*/) {}
  };
  using Notifiee = Forma::NotifieeMutable<AdjacencySegment, NotifieeConst>;

  AdjacencySegment(Forma::Name name, AdjacencySegmentKey key)
      : NamedEntity(std::move(name)), key_(key) {}
  /// Named after its key, as a collection makes it.
  explicit AdjacencySegment(AdjacencySegmentKey key)
      : AdjacencySegment(Forma::valueToStrep(key), key) {}
  ~AdjacencySegment() override;
};

/// The prefixes of one router.
class MPLS_EXPORT PrefixList : public Forma::Entity {
  FORMA_ENTITY(Mpls::SegmentRouting::PrefixList, Forma::Entity, prefix)
  FORMA_NAMING_KEY(RouterId, routerId)
  FORMA_VALUES(Netbase::IpGenPrefix, bool, prefix, newPrefix, onPrefix)

 public:
  class NotifieeConst : public Forma::NotifieeOf<PrefixList> {
   public:
    virtual void onPrefix(const Netbase::IpGenPrefix& /*prefix*/) {}
  };
  using Notifiee = Forma::NotifieeMutable<PrefixList, NotifieeConst>;

  explicit PrefixList(RouterId routerId) : routerId_(routerId) {}
  ~PrefixList() override;
};

/// Prefixes by router.
class MPLS_EXPORT IpReachabilityTable : public Forma::NamedEntity {
  FORMA_ENTITY(Mpls::SegmentRouting::IpReachabilityTable, Forma::NamedEntity, ipReachability)
  FORMA_CHILDREN(RouterId, PrefixList, ipReachability, newIpReachability, onIpReachability)

 public:
  class NotifieeConst : public Forma::NotifieeOf<IpReachabilityTable> {
   public:
    virtual void onIpReachability(const RouterId& /*routerId*/) {}
  };
  using Notifiee = Forma::NotifieeMutable<IpReachabilityTable, NotifieeConst>;

  explicit IpReachabilityTable(Forma::Name name) : NamedEntity(std::move(name)) {}
  ~IpReachabilityTable() override;
};

/// Written by one instance of a routing protocol.
class MPLS_EXPORT Status : public Forma::NamedEntity {
  FORMA_ENTITY(Mpls::SegmentRouting::Status, Forma::NamedEntity, routerId, labelRange,
               localReachability, adjacencySegment, nhIpTable, peerReachabilityTable)
  FORMA_ATTRIBUTE(RouterId, routerId, onRouterId)
  /// The segment routing global block.
  FORMA_ATTRIBUTE(LabelRange, labelRange, onLabelRange)
  /// The prefixes of this router.
  FORMA_VALUES(Netbase::IpGenPrefix, bool, localReachability, newLocalReachability,
               onLocalReachability)
  FORMA_CHILDREN(AdjacencySegmentKey, AdjacencySegment, adjacencySegment, newAdjacencySegment,
                 onAdjacencySegment)
  /// The addresses of next hops. Made from a name.
  FORMA_CHILD(IpReachabilityTable, nhIpTable, newNhIpTable, onNhIpTable)
  /// The prefixes of other routers. Made from a name.
  FORMA_CHILD(IpReachabilityTable, peerReachabilityTable, newPeerReachabilityTable,
              onPeerReachabilityTable)

 public:
  class NotifieeConst : public Forma::NotifieeOf<Status> {
   public:
    virtual void onRouterId() {}
    virtual void onLabelRange() {}
    virtual void onLocalReachability(const Netbase::IpGenPrefix& /*prefix*/) {}
    virtual void onAdjacencySegment(const AdjacencySegmentKey& /*key*/) {}
    virtual void onNhIpTable() {}
    virtual void onPeerReachabilityTable() {}
  };
  using Notifiee = Forma::NotifieeMutable<Status, NotifieeConst>;

  explicit Status(Forma::Name name) : NamedEntity(std::move(name)) {}
  ~Status() override;
};

FORMA_FACTORY(statusFactory, Status, Forma::Name)
FORMA_FACTORY(adjacencySegmentFactory, AdjacencySegment, Forma::Name, AdjacencySegmentKey)
FORMA_FACTORY(ipReachabilityTableFactory, IpReachabilityTable, Forma::Name)
FORMA_FACTORY(prefixListFactory, PrefixList, RouterId)

}  // namespace Mpls::SegmentRouting
