/// Indexes for the adjacencies of Mpls::Status.
#pragma once

#include <cstdint>
#include <utility>

#include "mpls/entities/Status.h"

namespace MplsHelper {

/// Gives each source of LFIB routes indexes of its own, none of which an adjacency has.
///
/// The top four bits of an index are the source, so that its owner can be read from it; the other
/// 60 count. Indexes are not recycled: one that is free again comes up when the count has wrapped,
/// or was reset. What others do to the adjacencies after an index was handed out is not noticed.
///
/// Thread    that of the entities.
/// Restart   holds nothing beyond its process; call useAdjacencyIndex() for each index in use.
/// Cost      a few lookups, and those for each adjacency that stands where the search begins.
class MPLS_EXPORT LfibGenAdjIdxAllocator : public Forma::Entity {
  FORMA_ENTITY(MplsHelper::LfibGenAdjIdxAllocator, Forma::Entity, adjIndex)
  /// Where the adjacencies are; never written.
  FORMA_FIXED(Forma::Ptr<Mpls::Status const>, status)
  /// Where the next search of each source begins; 0 for one that is not there.
  FORMA_VALUES(Mpls::LFib::Source, std::uint64_t, adjIndex, newAdjIndex, onAdjIndex)

 public:
  class NotifieeConst : public Forma::NotifieeOf<LfibGenAdjIdxAllocator> {
   public:
    virtual void onAdjIndex(const Mpls::LFib::Source& /*source*/) {}
  };
  using Notifiee = Forma::NotifieeMutable<LfibGenAdjIdxAllocator, NotifieeConst>;

  /// Raises NullException for null.
  explicit LfibGenAdjIdxAllocator(Forma::Ptr<Mpls::Status const> status)
      : status_(Forma::validPtr(std::move(status))) {}
  ~LfibGenAdjIdxAllocator() override;

  /// A free index of the source, which is recorded as used. Of numbers above the sources the low
  /// four bits count.
  std::uint64_t getAdjacencyIndex(Mpls::LFib::Source source);
  /// The next search of the source begins behind `index`.
  void useAdjacencyIndex(Mpls::LFib::Source source, std::uint64_t index);
  /// Does nothing: indexes are not recycled.
  void releaseAdjacencyIndex(Mpls::LFib::Source /*source*/, std::uint64_t /*index*/) {}
  /// The next search of the source begins at 1.
  void resetAdjacencyIndex(Mpls::LFib::Source source) { adjIndexIs(source, 1); }

 private:
  bool isUsed(Mpls::LFib::Source source, std::uint64_t index) const;
};

FORMA_FACTORY(lfibGenAdjIdxAllocatorFactory, LfibGenAdjIdxAllocator, Forma::Ptr<Mpls::Status const>)

}  // namespace MplsHelper
