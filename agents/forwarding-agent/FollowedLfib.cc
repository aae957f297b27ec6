#include "agents/forwarding-agent/FollowedLfib.h"

namespace ForwardingAgent {

namespace {

/// Attached before the machines look: they need not hear of each row.
Forma::Ptr<Mpls::LfibStatus> attached(Tarn::ReaderDirectory& directory) {
  auto lfib = Mpls::lfibStatusFactory("lfib");
  FormaTarn::attachReader(*lfib, directory);
  return lfib;
}

}  // namespace

FollowedLfib::FollowedLfib(Kiln::EventLoop& loop, Agents::Log& log, const std::string& path)
    : log_(log),
      directory_(loop, path, [this](const std::string& text) { log_.warning(text); }),
      lfib_(attached(directory_)),
      backlog_(Mpls::lfibTrackingStatusFactory("backlog")),
      ipLookups_(Mpls::lfibIpLookupStatusFactory("ipLookup")),
      consumer_(Mpls::lfibStatusConsumerSmFactory(lfib_)),
      tracking_(Mpls::lfibTrackingSmFactory(lfib_, backlog_, "tracking")),
      ipLookup_(Mpls::lfibIpLookupSmFactory(lfib_, backlog_, ipLookups_)) {
  directory_.onWriterIs([this] { handleWriter(); });
}

std::size_t FollowedLfib::routes() const { return lfib_->lfibRoutes(); }

void FollowedLfib::handleWriter() {
  const Tarn::ReaderDirectory::Writer& writer = directory_.writer();
  if (writer.isThere)
    log_.info("an LFIB has a writer",
              {{"lfib", path()}, {"writer", writer.agent}, {"pid", writer.pid}});
  else
    log_.warning("an LFIB has no writer: routes as last written",
                 {{"lfib", path()}, {"routes", routes()}});
}

}  // namespace ForwardingAgent
