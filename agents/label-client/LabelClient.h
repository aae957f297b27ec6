/// Asks the label manager for blocks of labels, and tells what becomes of them.
///
/// Thread    that of the program's loop.
/// Inputs    the client's blocks in "routing/mpls/api/status".
/// Outputs   "mpls/config/labelRequest/NAME"; a line on the standard output for each block that is
///           granted, moved or withdrawn.
/// End       by SIGINT or SIGTERM: the requests are withdrawn.
/// Restart   starts from what is published under its name, and keeps the blocks of what it still
///           asks for.
#pragma once

#include <cstdint>
#include <map>

#include "agents/common/JsonWriter.h"
#include "agents/common/Program.h"
#include "agents/label-client/Options.h"
#include "mpls/entities/ApiStatus.h"
#include "mpls/labelmgr/ClientLabelRequest.h"

namespace LabelClientAgent {

class LabelClient {
 public:
  /// Asks for the mounts, and takes the signals; both arguments must outlive it.
  LabelClient(Agents::Program& program, const Options& options);
  ~LabelClient();
  LabelClient(const LabelClient&) = delete;
  LabelClient& operator=(const LabelClient&) = delete;

  /// Whether the requests were written; the database may not have them yet.
  bool published() const { return !!requests_; }

 private:
  struct StatusReactor : Mpls::Api::Status::NotifieeConst {
    explicit StatusReactor(LabelClient& client) : owner(client) {}
    void onLabelBlockAllocation(const Forma::Name& name) override { owner.handleAllocation(name); }
    LabelClient& owner;
  };
  struct BlockReactor : Mpls::LabelBlockAllocation::NotifieeConst {
    explicit BlockReactor(LabelClient& client) : owner(client) {}
    void onBlock(const Forma::Name& /*id*/) override { owner.changed_ = true; }
    LabelClient& owner;
  };

  void publish();
  void handleStatus();
  void handleAllocation(const Forma::Name& name);
  void handleSignal();
  void tellChanges();
  void tellBlock(const std::string& id, Mpls::LabelBlock before, Mpls::LabelBlock now) const;
  void tellWaiting();

  Agents::Program& program_;
  const Options& options_;
  const Forma::Name name_;
  Forma::Ptr<Mpls::ClientLabelRequest> requests_;  // null before they are mounted
  Forma::Ptr<Mpls::Api::Status const> status_;     // the same
  std::map<std::string, Mpls::LabelBlock> told_;   // of those that are asked for
  std::optional<std::size_t> toldHeld_;            // how many are held
  bool changed_ = false;                           // since the last turn
  StatusReactor statusReactor_;
  BlockReactor blockReactor_;
  std::uint64_t turnEnd_;
};

}  // namespace LabelClientAgent
