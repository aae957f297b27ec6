#include "mpls/tables/SegmentRoutingStatus.h"

#include <string_view>

namespace Tarn::SegmentRouting {

FORMA_DEFINE_VALUE(TableInfo)
FORMA_DEFINE_ENTITY(Status)

namespace {

std::size_t initialRows(std::string_view table) {
  for (const TableInfo& one : TableInfo::srStatusInfo(TarnTable::Mode::writer))
    if (one.name().view() == table) return one.size();
  return 0;  // no table is made for none
}

}  // namespace

std::array<TableInfo, 4> TableInfo::srStatusInfo(TarnTable::Mode /*kind*/) {
  return {{{"v4Route", 5120}, {"v6Route", 5120}, {"prefixSegment", 2048}, {"globalBlock", 1024}}};
}

Status::~Status() = default;

void Status::attachWriter(WriterDirectory& directory) {
  FormaTarn::attachWriter(*this, directory, initialRows);
}

/// Rows in memory go with the same notifications as rows of a directory.
void Status::detachAndCleanup() {
  FormaTarn::detach(*this);
  v4RouteDelAll();
  v6RouteDelAll();
  prefixSegmentDelAll();
  globalBlockDelAll();
}

}  // namespace Tarn::SegmentRouting
