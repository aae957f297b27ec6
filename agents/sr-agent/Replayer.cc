#include "agents/sr-agent/Replayer.h"

#include "agents/common/Advice.h"
#include "agents/common/TableDirectory.h"
#include "agents/replay/LineReader.h"
#include "agents/sr-agent/Router.h"
#include "agents/sr-agent/SrTables.h"

namespace SrAgent {

namespace {

Router routerOf(const std::string& folder) {
  const Replay::Document config = Replay::documentOf(folder + "/config.json");
  Router router(config.node());
  Replay::LineReader events(folder + "/events.jsonl");
  for (Replay::Document event; events.next(&event);) router.take(event.node());
  return router;
}

}  // namespace

Replayer::Replayer(Kiln::EventLoop& loop, Agents::Log& log, const Options& options)
    : loop_(loop),
      log_(log),
      folder_(options.router),
      status_(Tarn::SegmentRouting::statusFactory(options.instance)),
      lfib_(Mpls::lfibStatusFactory("sr-" + options.instance)),
      tables_(Agents::withAdvice("--tables", [&] { return directoryIn(options.tables, options); })),
      labels_(Agents::withAdvice("--lfib", [&] { return directoryIn(options.lfib, options); })) {
  Agents::withAdvice("--tables", [&] { status_->attachWriter(tables_); });
  Agents::withAdvice("--lfib", [&] { FormaTarn::attachWriter(*lfib_, labels_); });
  log_.info("writes tables", {{"tables", tables_.path()}, {"lfib", labels_.path()}});
  replay();
}

/// An agent that lost its directory to another is of no use: it ends by what this raises.
Tarn::WriterDirectory Replayer::directoryIn(const std::string& path, const Options& options) {
  const auto report = [this](const std::string& text) {
    log_.warning(text);
    loop_.post([status = status_, lfib = lfib_] {
      status->v4RouteTable().mayWrite();
      lfib->lfibRouteTable().mayWrite();
    });
  };
  return {loop_, Agents::directoryOptions(options, options.permissions, path), report};
}

void Replayer::reload() {
  try {
    replay();
  } catch (const Replay::InputError& problem) {
    log_.warning(std::string(problem.what()) + "; the tables stay as they were");
  }
}

void Replayer::replay() {
  const Router router = routerOf(folder_);
  const std::uint64_t changes = writeRows(*status_, router.rows()) + writeLabels(lfib_, router);
  log_.info("in line with the recording", {{"router", folder_},
                                           {"globalBlocks", status_->globalBlocks()},
                                           {"prefixSegments", status_->prefixSegments()},
                                           {"routes", status_->v4Routes() + status_->v6Routes()},
                                           {"labels", lfib_->lfibRoutes()},
                                           {"vias", lfib_->mplsVias()},
                                           {"changedRows", changes}});
}

}  // namespace SrAgent
