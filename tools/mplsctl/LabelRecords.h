/// Blocks of labels and requests that wait as records.
#pragma once

#include "tools/mplsctl/LabelReader.h"
#include "tools/mplsctl/Record.h"

namespace MplsCtl {

extern const RecordType labelBlockType;
extern const RecordType labelWaitType;
extern const RecordType labelRangeType;  ///< of `watch`

/// A block and who holds it; `view` tells which one of the range it is.
void fillRecord(Record& record, const LabelRequestKey& request, const Mpls::LabelBlock& block,
                const LabelView& view);
void fillRecord(Record& record, const LabelRequestKey& request,
                const std::optional<double>& seconds);
/// The range that is in force, and whether labels are given at all.
void fillRecord(Record& record, const LabelView& view);

}  // namespace MplsCtl
