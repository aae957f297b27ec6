/// Takes operations (platform/forma/AttributeLog.h) into the cells of a path.
///
/// Thread    that of the database.
#pragma once

#include <string_view>

#include "platform/centrum/CellStore.h"

namespace Centrum {

/// Applies changes; the cells that differ go to the tail with the sequence `at`. Whether any did.
/// `renew`: what is not stated is gone. The operations must have passed Forma::checkRecords.
bool applyRecords(CellStore& cells, std::string_view records, bool renew, Sequence at);

/// Puts cells at the tail as CellWriter::image wrote them, with their sequence. Raises
/// ParseException when the bytes are damaged.
void restoreRecords(CellStore& cells, std::string_view records, Sequence at);

}  // namespace Centrum
