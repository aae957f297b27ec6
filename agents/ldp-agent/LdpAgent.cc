#include "agents/ldp-agent/LdpAgent.h"

#include <set>
#include <utility>

#include "agents/common/Advice.h"
#include "agents/common/TableDirectory.h"
#include "agents/ldp-agent/RecordedRouter.h"

namespace LdpAgent {

LdpAgent::LdpAgent(Agents::Program& program, const Options& options)
    : program_(program),
      options_(options),
      tablesDirectory_(program.loop(),
                       Agents::directoryOptions(options, options.tableOptions, options.tables),
                       [this](const std::string& text) { handleReport(text); }),
      lfibDirectory_(program.loop(),
                     Agents::directoryOptions(options, options.tableOptions, options.lfib),
                     [this](const std::string& text) { handleReport(text); }),
      tables_(Agents::attached(Ldp::LdpTarn::ldpLabelBindingTableFactory("ldp"), tablesDirectory_)),
      lfib_(Agents::attached(Mpls::lfibStatusFactory("ldp"), lfibDirectory_)),
      source_(makeSource()),
      pace_(program.loop().timers(), [this] { takeOne(); }) {
  Agents::LogFields found = {{"tables", tablesDirectory_.path()}, {"lfib", lfibDirectory_.path()}};
  addRows(found);
  program_.log().info("writes tables", found);
  watcher_ = std::make_unique<StaticRoutes::FileWatcher>(
      program_.loop(), source_->paths(),
      [this](const std::set<std::size_t>& /*files*/) { handleChangedFiles(); });
  program_.onReloadIs([this] { handleChangedFiles(); });
  program_.mount({{options_.linkReadyPath, Ldp::LdpLinkReadyStatusVrfColl::formaTypeName, "w"}},
                 [this] { handleMount(); });
  if (options_.pace > 0 && !holdsRows()) publish();
  goOn();
  if (!producer_) publish();
}

std::unique_ptr<Source> LdpAgent::makeSource() {
  if (options_.router.empty()) {
    state_ = std::make_unique<RouterState>(options_.routerId, lfib_);
    return std::make_unique<FollowedFile>(options_.bindings, options_.hops, *state_);
  }
  recording_ = std::make_unique<Recording>(options_.router);
  state_ = std::make_unique<RouterState>(recording_->router(), lfib_);
  return std::make_unique<RecordedRouter>(*recording_, *state_);
}

bool LdpAgent::holdsRows() const {
  return tables_->localLbts() + tables_->localLbtAdvertisedTos() + tables_->localLbtFilterStates() +
             tables_->peerLbts() + tables_->peerLbtFilterStates() + lfib_->lfibRoutes() !=
         0;
}

// ---- Messages ----------------------------------------------------------------------------------

void LdpAgent::goOn() {
  if (options_.pace > 0 && producer_) return pace_.scheduleAfter(1 / options_.pace);
  while (taken_ < options_.until && source_->step()) ++taken_;
  write();
}

void LdpAgent::takeOne() {
  if (taken_ == options_.until || !source_->step()) {
    tellCounts();
    return;
  }
  ++taken_;
  write();
  goOn();
}

void LdpAgent::publish() {
  const auto& bindings = state_->bindings;
  producer_ = Ldp::LdpTarn::ldpLibProducerSmFactory(bindings.local(), bindings.peers(), tables_);
  state_->installs.finish();
  write();
  tellCounts();
}

void LdpAgent::write() {
  if (!producer_) return;
  state_->installs.write();
  if (readiness_) state_->links.writeTo(*readiness_);
}

void LdpAgent::handleMount() {
  readiness_ = program_.entity<Ldp::LdpLinkReadyStatusVrfColl>(options_.linkReadyPath);
  write();
}

void LdpAgent::handleChangedFiles() {
  try {
    source_->readMore();
  } catch (const std::exception& problem) {
    program_.log().warning(problem.what());
  }
  goOn();  // what stood before the line that is wrong counts
  if (!pace_.pending()) tellCounts();
}

/// An agent that lost its directory to another is of no use: it ends by what this raises.
void LdpAgent::handleReport(const std::string& text) {
  program_.log().warning(text);
  program_.loop().post([tables = tables_, lfib = lfib_] {
    tables->localLbtTable().mayWrite();
    lfib->lfibRouteTable().mayWrite();
  });
}

// ---- Log ---------------------------------------------------------------------------------------

void LdpAgent::addRows(Agents::LogFields& fields) const {
  fields.insert(fields.end(), {{"localBindings", tables_->localLbts()},
                               {"advertisements", tables_->localLbtAdvertisedTos()},
                               {"peerBindings", tables_->peerLbts()}});
}

void LdpAgent::tellCounts() const {
  Agents::LogFields fields = {{"messages", taken_}};
  addRows(fields);
  fields.insert(fields.end(), {{"peers", state_->bindings.peers()->bindingTables()},
                               {"addresses", state_->bindings.addresses()->intfIpToLdpIds()},
                               {"labels", state_->installs.labels()},
                               {"nextHops", state_->installs.nextHops()},
                               {"links", state_->links.links()},
                               {"readyLinks", state_->links.readyLinks()}});
  program_.log().info("in line with the input", fields);
}

}  // namespace LdpAgent
