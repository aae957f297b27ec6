/// Reads what the label manager has given, what its clients ask for, and the configuration.
///
/// Thread    that of the program's loop.
/// Inputs    Mpls::Api::Status, Mpls::Config, all Mpls::ClientLabelRequest, and since when requests
///           wait; mounted read-only. Clients that appear later, too.
#pragma once

#include <map>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "agents/common/JsonWriter.h"
#include "mpls/entities/ApiStatus.h"
#include "mpls/entities/Config.h"
#include "mpls/labelmgr/DynamicRange.h"
#include "mpls/labelmgr/LabelManagerClient.h"
#include "mpls/labelmgr/WaitingLabelRequests.h"
#include "platform/forma/Dir.h"
#include "tools/mplsctl/Query.h"

namespace MplsCtl {

using LabelRequestKey = std::pair<std::string, std::string>;  ///< client and identifier
using LabelBlocks = std::map<LabelRequestKey, Mpls::LabelBlock>;
/// Seconds; none while the label manager has not noted the request.
using LabelWaits = std::map<LabelRequestKey, std::optional<double>>;

/// What there is at one time.
struct LabelView {
  bool routing = false;                     ///< while it is off, nothing is given
  std::optional<Mpls::DynamicRange> range;  ///< none before the label manager has had one
  LabelBlocks blocks;
  LabelWaits waits;
};

class LabelReader {
 public:
  /// Asks for the mounts; the program must outlive it.
  explicit LabelReader(Agents::Program& program);

  /// Waits until everything that there is was read; as MplsCtl::await.
  bool await(const Options& options);
  LabelView view() const;
  const Mpls::Api::Status& status() const { return *status_; }
  const Mpls::LabelManagerClient& requests() const { return *requests_; }

  /// "PATH: NAME is gone since 3.2 s" for each publisher that is gone.
  std::vector<std::string> gone() const;

 private:
  struct DirReactor : Forma::Dir::NotifieeConst {
    explicit DirReactor(LabelReader& reader) : owner(reader) {}
    void onEntry(const Forma::Name& name) override { owner.handleClient(name); }
    LabelReader& owner;
  };

  void handleMounts();
  void handleClient(const Forma::Name& name);
  std::optional<double> waitOf(const Forma::Name& client, const Forma::Name& id) const;

  Agents::Program& program_;
  DirReactor dirReactor_;
  Forma::Ptr<Mpls::Api::Status> status_;  // null until it is mounted, as is what follows
  Forma::Ptr<Mpls::Config> config_;
  Forma::Ptr<Mpls::WaitingLabelRequests> waiting_;
  const Forma::Ptr<Mpls::LabelManagerClient> requests_;
  std::size_t pendingClients_ = 0;
};

/// The last label of a block.
std::uint32_t lastLabel(const Mpls::LabelBlock& block);
/// {"client", "id"}
Agents::Json requestJson(const LabelRequestKey& request);
/// {"first", "last"}: labels.
Agents::Json blockJson(const Mpls::LabelBlock& block);
/// {"base", "size", "blocks"}
Agents::Json rangeJson(const Mpls::DynamicRange& range);
/// "100000-116383"
std::string blockText(const Mpls::LabelBlock& block);
/// "base 100000 size 262144, 16 blocks"
std::string rangeText(const Mpls::DynamicRange& range);

}  // namespace MplsCtl
