#include "agents/ldp-agent/LdpAgent.h"

#include <signal.h>

#include <set>
#include <utility>

#include "agents/common/Advice.h"
#include "agents/ldp-agent/RecordedRouter.h"

namespace LdpAgent {

namespace {

/// Attaches before anybody looks at the rows.
template <class Entity>
Forma::Ptr<Entity> attached(Forma::Ptr<Entity> entity, Tarn::WriterDirectory& directory) {
  FormaTarn::attachWriter(*entity, directory);
  return entity;
}

Tarn::WriterDirectory::Options directoryOptions(const Options& options, const std::string& path) {
  const Agents::TableOptions& who = options.tableOptions;
  return {path, who.owner, who.group, who.mode, options.name};
}

std::string counted(std::size_t count, const char* what) {
  return std::to_string(count) + " " + what;
}

}  // namespace

LdpAgent::LdpAgent(Agents::Program& program, const Options& options)
    : program_(program),
      options_(options),
      tablesDirectory_(program.loop(), directoryOptions(options, options.tables),
                       [this](const std::string& text) { handleReport(text); }),
      lfibDirectory_(program.loop(), directoryOptions(options, options.lfib),
                     [this](const std::string& text) { handleReport(text); }),
      tables_(attached(Ldp::LdpTarn::ldpLabelBindingTableFactory("ldp"), tablesDirectory_)),
      lfib_(attached(Mpls::lfibStatusFactory("ldp"), lfibDirectory_)),
      source_(makeSource()),
      pace_(program.loop().timers(), [this] { takeOne(); }) {
  program_.log().say("writes " + tablesDirectory_.path() + ", which holds " + rows() + ", and " +
                     lfibDirectory_.path());
  watcher_ = std::make_unique<StaticRoutes::FileWatcher>(
      program_.loop(), source_->paths(),
      [this](const std::set<std::size_t>& /*files*/) { handleChangedFiles(); });
  program_.loop().signalIs(SIGHUP, [this](int) { handleChangedFiles(); });
  program_.mount({{options_.linkReadyPath, Ldp::LdpLinkReadyStatusVrfColl::formaTypeName, "w"}},
                 [this] { handleMount(); });
  if (options_.pace > 0 && !holdsRows()) publish();
  goOn();
  if (!producer_) publish();
}

LdpAgent::~LdpAgent() { program_.loop().signalDel(SIGHUP); }

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
    program_.log().say(counts());
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
  program_.log().say(counts());
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
    program_.log().line(problem.what());
  }
  goOn();  // what stood before the line that is wrong counts
  if (!pace_.pending()) program_.log().say(counts());
}

/// An agent that lost its directory to another is of no use: it ends by what this raises.
void LdpAgent::handleReport(const std::string& text) {
  program_.log().say(text);
  program_.loop().post([tables = tables_, lfib = lfib_] {
    tables->localLbtTable().mayWrite();
    lfib->lfibRouteTable().mayWrite();
  });
}

// ---- Text --------------------------------------------------------------------------------------

std::string LdpAgent::rows() const {
  return counted(tables_->localLbts(), "local bindings, ") +
         counted(tables_->localLbtAdvertisedTos(), "advertisements, ") +
         counted(tables_->peerLbts(), "peer bindings");
}

std::string LdpAgent::counts() const {
  return counted(taken_, "messages: ") + rows() + " of " +
         counted(state_->bindings.peers()->bindingTables(), "peers, ") +
         counted(state_->bindings.addresses()->intfIpToLdpIds(), "addresses; ") +
         counted(state_->installs.labels(), "labels over ") +
         counted(state_->installs.nextHops(), "next hops; ") +
         counted(state_->links.readyLinks(), "of ") + counted(state_->links.links(), "links ready");
}

}  // namespace LdpAgent
