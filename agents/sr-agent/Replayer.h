/// Keeps the tables of an instance equal to a recorded router.
///
/// Thread    that of the loop.
/// Inputs    config.json and events.jsonl in the folder of the router.
/// Outputs   the tables of both directories; made when missing, else adopted.
/// Restart   goes on from the rows that are there; nothing is changed before the whole recording
///           was understood.
#pragma once

#include <string>

#include "agents/common/Log.h"
#include "agents/sr-agent/Options.h"
#include "mpls/lfib/LfibStatus.h"
#include "mpls/tables/SegmentRoutingStatus.h"
#include "platform/kiln/EventLoop.h"
#include "platform/tarn/WriterDirectory.h"

namespace SrAgent {

class Replayer {
 public:
  /// Takes the directories and replays the router. Raises std::exception, which says what to do,
  /// when the directories or their tables cannot be used, or the recording cannot be read.
  Replayer(Kiln::EventLoop& loop, Agents::Log& log, const Options& options);

  /// Replays the router again; a recording with errors is told, and changes nothing.
  void reload();

 private:
  void replay();
  Tarn::WriterDirectory directoryIn(const std::string& path, const Options& options);

  Kiln::EventLoop& loop_;
  Agents::Log& log_;
  const std::string folder_;
  const Forma::Ptr<Tarn::SegmentRouting::Status> status_;
  const Forma::Ptr<Mpls::LfibStatus> lfib_;
  Tarn::WriterDirectory tables_;
  Tarn::WriterDirectory labels_;
};

}  // namespace SrAgent
