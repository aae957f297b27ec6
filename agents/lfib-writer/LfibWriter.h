/// Writes the merged static routes into the LFIB tables of one directory.
///
/// Thread    that of the program's loop.
/// Inputs    "routing/mpls/route/config".
/// Outputs   the tables of the directory; made when missing, else adopted.
/// Restart   goes on from the rows that are there; nothing is removed before the merged routes are
///           mounted and ready.
#pragma once

#include <optional>
#include <string>

#include "agents/common/Program.h"
#include "agents/lfib-writer/Options.h"
#include "mpls/lfib/LfibStaticRouteSm.h"
#include "platform/tarn/WriterDirectory.h"

namespace LfibWriterAgent {

class LfibWriter {
 public:
  /// Takes the directory, and asks for the mount; the program must outlive it. Raises
  /// std::exception, which says what to do, when the directory or its tables cannot be used.
  LfibWriter(Agents::Program& program, const Options& options);

 private:
  void handleMounts();
  void handleInitialized();
  void handleReport(const std::string& text);

  Agents::Program& program_;
  Tarn::WriterDirectory directory_;
  const Forma::Ptr<Mpls::LfibStatus> lfib_;
  std::optional<Mpls::LfibStaticRouteSm> sm_;
};

}  // namespace LfibWriterAgent
