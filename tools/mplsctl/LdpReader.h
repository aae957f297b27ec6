/// Reads what an LDP agent publishes: its tables in shared memory, of which it builds the bindings
/// again, and link readiness in the database, if there is any.
///
/// Thread    that of the program's loop.
#pragma once

#include <compare>
#include <map>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "agents/common/JsonWriter.h"
#include "agents/common/Program.h"
#include "ldp/LdpLibConsumerSm.h"
#include "ldp/LdpLinkReadyStatus.h"
#include "platform/tarn/ReaderDirectory.h"
#include "tools/mplsctl/Options.h"
#include "tools/mplsctl/TableReports.h"
#include "tools/mplsctl/ValueText.h"

namespace MplsCtl {

/// What is known of one FEC of one router.
struct FecBinding {
  Mpls::FwdEqvClass fec;
  std::set<Netbase::MplsLabel> labels;
  std::set<Ldp::LdpIdentifier> advertised;
  std::optional<Mpls::FecFilteredState> filter;
};

class LdpReader {
 public:
  using Tables = Ldp::LdpTarn::LdpLabelBindingTable;
  /// Whether LDP is ready, by VRF and interface.
  using Links = std::map<std::pair<std::string, std::string>, bool>;

  /// Begins to look for the tables; the program must outlive it.
  LdpReader(Agents::Program& program, const Options& options);

  /// Waits for the tables, as long as the options say, and then for the links, if the database has
  /// them; if the tables do not come, says why and what to do.
  bool await();

  Tarn::ReaderDirectory& directory() { return directory_; }
  const Options& options() const { return options_; }
  const Forma::Ptr<Tables>& tables() const { return tables_; }
  const Ldp::LabelBindingTable& local() const { return *local_; }
  const Ldp::LabelBindingTableColl& peers() const { return *peers_; }
  /// None while they are not known.
  std::optional<Links> links() const;
  /// "writer ldp-agent (pid 12)" and the like.
  std::string writerText() const;
  Agents::Json json() const;
  /// That nobody publishes the links any more; empty while somebody does, or they are not known.
  std::string linksGone() const;
  /// The exit code so far: damage was met, or tables are missing, or neither.
  int exitCode() const { return reports_.exitCode(); }

 private:
  bool areAttached() const;
  bool areLinksSettled() const;

  Agents::Program& program_;
  const Options& options_;
  const std::string linksPath_;
  bool hasAnswered_ = false;  // the database, to what was asked first
  TableReports reports_;
  Tarn::ReaderDirectory directory_;
  const Forma::Ptr<Tables> tables_;
  const Forma::Ptr<Ldp::LabelBindingTable> local_;
  const Forma::Ptr<Ldp::LabelBindingTableColl> peers_;
  Forma::Ptr<Ldp::LdpTarn::LdpLibConsumerSm> consumer_;  // null until the tables are there
  Forma::Ptr<Ldp::LdpLinkReadyStatusVrfColl> links_;     // null until they are mounted
};

/// Calls `visit` for each FEC of a table, in order.
void eachBinding(const Ldp::LabelBindingTable& table,
                 const std::function<void(const FecBinding&)>& visit);

/// "16", or "implicit-null" and the like for labels with a meaning of their own.
std::string labelText(Netbase::MplsLabel label);
/// "Filtered"
std::string filterText(Mpls::FecFilteredState state);

}  // namespace MplsCtl
