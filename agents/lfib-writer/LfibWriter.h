/// Writes the merged static routes, and the labels of a file of vias, into the LFIB tables of one
/// directory.
///
/// Thread    that of the program's loop.
/// Inputs    "routing/mpls/route/config"; the file of vias of the options.
/// Outputs   the tables of the directory; made when missing, else adopted.
/// Restart   goes on from the rows that are there; nothing is removed before the merged routes are
///           mounted and ready, nor of the file before it was understood.
#pragma once

#include <memory>
#include <optional>
#include <string>

#include "agents/common/Program.h"
#include "agents/lfib-writer/Options.h"
#include "agents/lfib-writer/ViaWriter.h"
#include "agents/routes/FileWatcher.h"
#include "mpls/lfib/LfibStaticRouteSm.h"
#include "platform/tarn/WriterDirectory.h"

namespace LfibWriterAgent {

class LfibWriter {
 public:
  /// Takes the directory, and asks for the mount; the program must outlive it. Raises
  /// std::exception, which says what to do, when the directory or its tables cannot be used, or the
  /// file cannot be read.
  LfibWriter(Agents::Program& program, const Options& options);

 private:
  void handleMounts();
  void handleInitialized();
  void handleReport(const std::string& text);
  void loadVias();
  void reloadVias();
  void viasAre(const std::string& text);

  Agents::Program& program_;
  Tarn::WriterDirectory directory_;
  const Forma::Ptr<Mpls::LfibStatus> lfib_;
  const std::string viasPath_;
  ViaWriter vias_;
  std::unique_ptr<StaticRoutes::FileWatcher> watcher_;
  std::optional<Mpls::LfibStaticRouteSm> sm_;
};

}  // namespace LfibWriterAgent
