#include "agents/sr-agent/SrTables.h"

#include <array>
#include <vector>

namespace SrAgent {

using Mpls::LFib::Source;
using Replay::LabelInstalls;
using Tarn::SegmentRouting::Status;

namespace {

constexpr std::array sources = {
    Mpls::LFib::lfibSourceIsisSrV4Prefix_, Mpls::LFib::lfibSourceIsisSrV4Adj_,
    Mpls::LFib::lfibSourceIsisSrV6Prefix_, Mpls::LFib::lfibSourceIsisSrV6Adj_};

/// Commits the rows that are not there as they should be.
template <class Table, class Wanted, class Commit>
std::uint64_t write(const Table& table, const Wanted& wanted, Commit commit) {
  std::uint64_t changes = 0;
  typename Table::Row there;
  for (const auto& [key, row] : wanted) {
    if (table.find(key, &there) && there == row) continue;
    commit(row);
    ++changes;
  }
  return changes;
}

template <class Table, class Wanted, class Del>
std::uint64_t removeOthers(const Table& table, const Wanted& wanted, Del del) {
  std::uint64_t changes = 0;
  table.eachKey([&](const auto& key) {
    if (wanted.contains(key)) return;
    del(key);
    ++changes;
  });
  return changes;
}

}  // namespace

std::uint64_t writeRows(Status& status, const Rows& rows) {
  std::uint64_t changes = 0;
  changes += write(status.globalBlockTable(), rows.globalBlocks,
                   [&](const auto& row) { status.globalBlockCommit(row); });
  changes += write(status.prefixSegmentTable(), rows.prefixSegments,
                   [&](const auto& row) { status.prefixSegmentCommit(row); });
  changes += write(status.v4RouteTable(), rows.v4Routes,
                   [&](const auto& row) { status.v4RouteCommit(row); });
  changes += write(status.v6RouteTable(), rows.v6Routes,
                   [&](const auto& row) { status.v6RouteCommit(row); });
  changes += removeOthers(status.v4RouteTable(), rows.v4Routes,
                          [&](const auto& key) { status.v4RouteDel(key); });
  changes += removeOthers(status.v6RouteTable(), rows.v6Routes,
                          [&](const auto& key) { status.v6RouteDel(key); });
  changes += removeOthers(status.prefixSegmentTable(), rows.prefixSegments,
                          [&](const auto& key) { status.prefixSegmentDel(key); });
  changes += removeOthers(status.globalBlockTable(), rows.globalBlocks,
                          [&](const auto& key) { status.globalBlockDel(key); });
  return changes;
}

std::uint64_t writeLabels(const Forma::Ptr<Mpls::LfibStatus>& lfib, const Router& router) {
  const auto source = [&router](Netbase::MplsLabel label, const LabelInstalls::NextHops& hops) {
    return sourceOf(router.globalBlock(), label, hops);
  };
  LabelInstalls installs(lfib, sources, source, router.interfaces());
  for (const Replay::LabelChange& one : router.labelChanges()) installs.take(one);
  installs.finish();
  return installs.changes();
}

Source sourceOf(const Mpls::LabelRange& globalBlock, Netbase::MplsLabel label,
                const LabelInstalls::NextHops& nextHops) {
  const bool isV6 = !nextHops.empty() && nextHops.rbegin()->address.isV6();
  const std::uint32_t base = globalBlock.base().value();
  const bool isPrefix = label.value() >= base && label.value() - base < globalBlock.size();
  if (isPrefix)
    return isV6 ? Mpls::LFib::lfibSourceIsisSrV6Prefix_ : Mpls::LFib::lfibSourceIsisSrV4Prefix_;
  return isV6 ? Mpls::LFib::lfibSourceIsisSrV6Adj_ : Mpls::LFib::lfibSourceIsisSrV4Adj_;
}

}  // namespace SrAgent
