/// Carries the maps from 802.1Q tags to VLANs, which are entities of one process, to others: the
/// producer writes one row of `dot1qTagToVlanComposite` for each tag of each map, the consumer
/// makes the same maps of the rows. Nothing else of the LFIB needs that: it stands in rows already.
///
/// Both are one machine each, made by their factories, which run the first full pass. Handlers do
/// nothing before that. What an observer of an output raises is raised when the pass is over.
///
/// Thread    the agent's event thread; no other.
/// Cost      a tag costs a few lookups, whatever the number of tags and maps.
#pragma once

#include <memory>

#include "mpls/lfib/LfibStatus.h"
#include "platform/forma/HashMap.h"

namespace Mpls {

/// Keeps the rows equal to the maps.
///
/// A map that goes leaves its rows, and one that is replaced leaves those of the tags that only it
/// had: whoever writes the maps deletes the tags one by one first. What is left goes with the next
/// full pass.
///
/// Inputs    `dot1qTagToVlanColl` and each map in it, read through notifiees; never written.
/// Outputs   all rows of `dot1qTagToVlanComposite`.
/// Restart   rows of an earlier process that no map holds any more are removed, others rewritten.
class MPLS_EXPORT LfibStatusProducerSm : public Forma::PtrInterface {
 public:
  ~LfibStatusProducerSm() override;

  /// Null after lfibStatusDel().
  const Forma::Ptr<LfibStatus>& lfibStatus() const { return lfibStatus_; }
  /// Turns to another status, with a full pass over it. Null is refused.
  void lfibStatusIs(Forma::Ptr<LfibStatus> lfibStatus);
  /// Follows no status any more; its rows stay.
  void lfibStatusDel();
  bool initialized() const { return initialized_; }
  /// How many maps are followed.
  std::size_t dot1qTagToVlanColls() const { return maps_.size(); }

  /// The full pass: all rows, then all maps.
  void handleInitialized();
  /// Each tag of a map.
  void handleDot1qTagToVlanColl(const LfibDot1qTagToVlanKey& mapKey, const LfibDot1qTagToVlan& map);
  /// The one place that writes rows: that of one tag is there as long as the tag is in its map.
  void handleDot1qTagToVlan(LfibDot1qTagToVlanKey mapKey, Netbase::VlanId tag);

 private:
  friend Forma::Ptr<LfibStatusProducerSm> lfibStatusProducerSmFactory(Forma::Ptr<LfibStatus>);

  struct StatusReactor : LfibStatus::NotifieeConst {
    explicit StatusReactor(LfibStatusProducerSm& sm) : owner(sm) {}
    void onDot1qTagToVlanColl(const LfibDot1qTagToVlanKey& key) override { owner.handleMap(key); }
    LfibStatusProducerSm& owner;
  };
  /// Watches one map.
  struct MapReactor : LfibDot1qTagToVlan::NotifieeConst {
    MapReactor(LfibStatusProducerSm& sm, const LfibDot1qTagToVlanKey& mapKey)
        : owner(sm), key(mapKey) {}
    void onDot1qTagToVlanId(const Netbase::VlanId& tag) override {
      owner.handleDot1qTagToVlan(key, tag);
    }
    LfibStatusProducerSm& owner;
    const LfibDot1qTagToVlanKey key;
  };

  explicit LfibStatusProducerSm(Forma::Ptr<LfibStatus> lfibStatus);

  /// A map came, went or was replaced.
  void handleMap(LfibDot1qTagToVlanKey mapKey);
  void followMap(const LfibDot1qTagToVlanKey& mapKey, Forma::Ptr<LfibDot1qTagToVlan const> map);

  Forma::Ptr<LfibStatus> lfibStatus_;
  bool initialized_ = false;
  StatusReactor statusReactor_;
  Forma::HashMap<LfibDot1qTagToVlanKey, std::shared_ptr<MapReactor>> maps_;
};

/// Keeps the maps equal to the rows. A map goes with its last row.
///
/// Inputs    `dot1qTagToVlanComposite`, read through a notifiee; never written.
/// Outputs   all of `dot1qTagToVlanColl`.
/// Restart   built by one full pass; aborts when there are maps before it.
class MPLS_EXPORT LfibStatusConsumerSm : public Forma::PtrInterface {
 public:
  ~LfibStatusConsumerSm() override;

  /// Null after lfibStatusDel().
  const Forma::Ptr<LfibStatus>& lfibStatus() const { return lfibStatus_; }
  /// Turns to another status, with a full pass over it: it must hold no maps. Null is refused.
  void lfibStatusIs(Forma::Ptr<LfibStatus> lfibStatus);
  /// Follows no status any more; its maps stay.
  void lfibStatusDel();
  bool initialized() const { return initialized_; }

  /// The full pass. Aborts when there are maps.
  void handleInitialized();
  /// All rows that are there.
  void handleDot1qTagToVlanComposite();
  /// The one place that writes maps: a tag is in its map as long as its row is there.
  void handleDot1qTagToVlanComposite(LfibDot1qTagToVlanCompositeKey key);

 private:
  friend Forma::Ptr<LfibStatusConsumerSm> lfibStatusConsumerSmFactory(Forma::Ptr<LfibStatus>);

  struct StatusReactor : LfibStatus::NotifieeConst {
    explicit StatusReactor(LfibStatusConsumerSm& sm) : owner(sm) {}
    void onDot1qTagToVlanComposite() override { owner.handleDot1qTagToVlanComposite(); }
    void onDot1qTagToVlanComposite(const LfibDot1qTagToVlanCompositeKey& key) override {
      owner.handleDot1qTagToVlanComposite(key);
    }
    LfibStatusConsumerSm& owner;
  };

  explicit LfibStatusConsumerSm(Forma::Ptr<LfibStatus> lfibStatus);

  Forma::Ptr<LfibStatus> lfibStatus_;
  bool initialized_ = false;
  StatusReactor statusReactor_;
};

/// Make the machines, for the process that writes the tables and for those that are attached to
/// them as readers. Null raises NullException "null ValidPtr".
MPLS_EXPORT Forma::Ptr<LfibStatusProducerSm> lfibStatusProducerSmFactory(
    Forma::Ptr<LfibStatus> lfibStatus);
MPLS_EXPORT Forma::Ptr<LfibStatusConsumerSm> lfibStatusConsumerSmFactory(
    Forma::Ptr<LfibStatus> lfibStatus);

}  // namespace Mpls
