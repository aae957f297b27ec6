/// Checks the blocks that the label manager has given.
///
/// Thread    any.
#pragma once

#include <functional>

#include "tools/mplsctl/LabelReader.h"
#include "tools/mplsctl/VerifyCheck.h"

namespace MplsCtl {

/// The checks of what `view` gives, each time as it is then:
///   overlap  no label is in two blocks
///   grid     each block begins where one is cut from the dynamic range
///   range    and lies in it
void verifyLabels(const std::function<LabelView()>& view, const std::string& place,
                  const Pause& pause, const CheckSink& sink);

}  // namespace MplsCtl
