/// Gives blocks of the dynamic label range to the clients that ask for them.
///
/// Thread    that of the program's loop.
/// Inputs    "routing/mpls/config", and all in "mpls/config/labelRequest".
/// Outputs   the blocks and the range in "routing/mpls/api/status"; in "routing/mpls/api/labelWait"
///           since when requests wait.
/// Errors    what clients and configuration do wrong is told and counted, and ends nothing.
/// Restart   adopts what is published. Begins when all is mounted: a configuration that is not
///           there would read as routing off, and take every block away.
#pragma once

#include "agents/common/Program.h"
#include "mpls/labelmgr/LabelManagerSm.h"
#include "mpls/labelmgr/LabelWaitSm.h"

namespace MplsAgent {

class LabelManager {
 public:
  /// Asks for the mounts; the program must outlive it.
  explicit LabelManager(Agents::Program& program);

 private:
  void handleMounts();
  /// What the range allows, or why there is none.
  void tellRange(Agents::LogFields fields);

  Agents::Program& program_;
  Forma::Ptr<Mpls::LabelManagerSm> sm_;
  Forma::Ptr<Mpls::LabelWaitSm> waits_;
};

}  // namespace MplsAgent
