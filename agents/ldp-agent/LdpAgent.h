/// Publishes what an LDP router holds.
///
/// Thread    that of the program's loop.
/// Inputs    the files of the options, which are followed.
/// Outputs   the LDP tables of one directory and the LFIB of another, both made when missing, else
///           adopted; link readiness in the database, when that is there.
/// Restart   when rows are there already, all messages are taken before the first row is touched:
///           readers hear of what differs at the end, and of nothing between.
#pragma once

#include <memory>
#include <string>

#include "agents/common/Program.h"
#include "agents/ldp-agent/Options.h"
#include "agents/ldp-agent/Recording.h"
#include "agents/ldp-agent/RouterState.h"
#include "agents/ldp-agent/Source.h"
#include "agents/routes/FileWatcher.h"
#include "ldp/LdpLabelBindingTable.h"
#include "ldp/LdpLibProducerSm.h"
#include "platform/tarn/WriterDirectory.h"

namespace LdpAgent {

class LdpAgent {
 public:
  /// Takes the directories, reads the input, and publishes it; the program must outlive it. Raises
  /// std::exception, which says what to do, when that cannot be.
  LdpAgent(Agents::Program& program, const Options& options);

 private:
  using Tables = Ldp::LdpTarn::LdpLabelBindingTable;

  std::unique_ptr<Source> makeSource();
  bool holdsRows() const;
  /// From now on the outputs follow.
  void publish();
  /// Takes all messages that may be taken now.
  void goOn();
  void takeOne();
  /// Writes what the bindings do not write by themselves, once publish() was called.
  void write();
  void handleChangedFiles();
  void handleMount();
  void handleReport(const std::string& text);
  void tellCounts() const;
  void addRows(Agents::LogFields& fields) const;

  Agents::Program& program_;
  const Options options_;
  Tarn::WriterDirectory tablesDirectory_;
  Tarn::WriterDirectory lfibDirectory_;
  const Forma::Ptr<Tables> tables_;
  const Forma::Ptr<Mpls::LfibStatus> lfib_;
  std::unique_ptr<Recording> recording_;  // null: there is a file of bindings
  std::unique_ptr<RouterState> state_;
  std::unique_ptr<Source> source_;
  std::unique_ptr<StaticRoutes::FileWatcher> watcher_;
  Forma::Ptr<Ldp::LdpTarn::LdpLibProducerSm> producer_;   // null until publish()
  Forma::Ptr<Ldp::LdpLinkReadyStatusVrfColl> readiness_;  // null until it is mounted
  Kiln::Timer pace_;
  std::uint64_t taken_ = 0;  // messages
};

}  // namespace LdpAgent
