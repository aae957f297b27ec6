/// What segment routing knows and installs, in tables that other processes read
/// (docs/segment-routing.md).
#pragma once

#include <array>
#include <cstdint>
#include <utility>

#include "mpls/tables/FibRoute.h"
#include "mpls/tables/SegmentRoutingRows.h"
#include "platform/tarn/FormaTarnMap.h"

namespace Tarn::SegmentRouting {

/// A table of Status: what it is called, and for how many rows it is made.
class TableInfo {
  FORMA_VALUE(Tarn::SegmentRouting::TableInfo, name, size)
  FORMA_FIELD(Forma::String8, name)
  /// Rows that have room at once; a table grows beyond them.
  FORMA_FIELD(std::uint32_t, size, 0)
 public:
  TableInfo() = default;
  TableInfo(Forma::String8 name, std::uint32_t size) : name_(std::move(name)), size_(size) {}

  /// The four tables, in the order of Status. The kind of attachment does not matter.
  MPLS_EXPORT static std::array<TableInfo, 4> srStatusInfo(TarnTable::Mode kind);
};

/// Written by one instance of a routing protocol.
///
/// Thread    that of the entity.
class MPLS_EXPORT Status : public Forma::NamedEntity {
  FORMA_ENTITY(Tarn::SegmentRouting::Status, Forma::NamedEntity, v4Route, v6Route, prefixSegment,
               globalBlock)
  /// The routes that put labels on packets.
  FORMA_TABLE(Netbase::Prefix, Fib::Route, v4Route, newV4Route, onV4Route)
  FORMA_TABLE(Netbase::Ip6Prefix, Fib6::Route, v6Route, newV6Route, onV6Route)
  /// The segments of prefixes, this router's own among them.
  FORMA_TABLE(Netbase::IpGenPrefix, PrefixSegment, prefixSegment, newPrefixSegment, onPrefixSegment)
  /// The global block of each router.
  FORMA_TABLE(Mpls::RouterId, GlobalBlock, globalBlock, newGlobalBlock, onGlobalBlock)

 public:
  /// Each table notifies of the keys whose rows came, went or were written, and, with no key, of
  /// itself as a whole when somebody asks for that.
  class NotifieeConst : public Forma::NotifieeOf<Status> {
   public:
    virtual void onV4Route(const Netbase::Prefix& /*key*/) {}
    virtual void onV4Route() {}
    virtual void onV6Route(const Netbase::Ip6Prefix& /*key*/) {}
    virtual void onV6Route() {}
    virtual void onPrefixSegment(const Netbase::IpGenPrefix& /*key*/) {}
    virtual void onPrefixSegment() {}
    virtual void onGlobalBlock(const Mpls::RouterId& /*key*/) {}
    virtual void onGlobalBlock() {}
  };
  using Notifiee = Forma::NotifieeMutable<Status, NotifieeConst>;

  explicit Status(Forma::Name name) : NamedEntity(std::move(name)) {}
  ~Status() override;

  /// Becomes the writer of the tables in `directory`, which are adopted, or made in the sizes of
  /// TableInfo. Raises what FormaTarn::attachWriter() raises; then none is attached.
  void attachWriter(WriterDirectory& directory);
  /// Lets go of all four tables: the rows of a directory stay there, here there are none.
  void detachAndCleanup();
};

FORMA_FACTORY(statusFactory, Status, Forma::Name)

}  // namespace Tarn::SegmentRouting
