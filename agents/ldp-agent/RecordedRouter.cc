#include "agents/ldp-agent/RecordedRouter.h"

#include <utility>
#include <variant>

namespace LdpAgent {

RecordedRouter::RecordedRouter(Recording& recording, RouterState& state)
    : recording_(recording), state_(state) {
  for (const Netbase::IntfId& intf : recording_.interfaces()) state_.links.interfaceIs(intf);
  recording_.readMore(state_.interfaces);
}

void RecordedRouter::readMore() {
  recording_.readMore(state_.interfaces);
  state_.installs.allChanged();  // interfaces may be called otherwise
}

std::vector<std::string> RecordedRouter::paths() const {
  return {recording_.eventsPath(), recording_.sentPath()};
}

bool RecordedRouter::step() {
  if (!recording_.sent.empty() && mayTake(recording_.sent.front())) {
    const Sent sent = std::move(recording_.sent.front());
    recording_.sent.pop_front();
    take(sent);
    return true;
  }
  if (recording_.events.empty()) return false;
  const Event event = std::move(recording_.events.front());
  recording_.events.pop_front();
  std::visit([this](const auto& one) { take(one); }, event);
  return true;
}

// ---- Received ----------------------------------------------------------------------------------

void RecordedRouter::take(const Received& received) {
  Session& session = sessions_[received.neighbor];
  if (std::holds_alternative<Initialization>(received.message))
    return begin(session, received.peer);
  if (std::holds_alternative<Keepalive>(received.message) && session.begun > 0) {
    session.isOperational = true;
    return state_.peerIs(session.peer);
  }
  const auto* const notification = std::get_if<Notification>(&received.message);
  if (notification != nullptr && notification->isFatal) return endSession(session);
  if (!session.isOperational) return;
  if (const auto* const labels = std::get_if<LabelMessage>(&received.message))
    state_.bindings.received(session.peer, *labels);
  if (const auto* const addresses = std::get_if<AddressMessage>(&received.message))
    state_.bindings.received(session.peer, *addresses);
}

/// The connection of the session before, if any, must have gone.
void RecordedRouter::begin(Session& session, const LdpIdentifier& peer) {
  endSession(session);
  session.peer = peer;
  ++session.begun;
}

void RecordedRouter::endSession(Session& session) {
  if (std::exchange(session.isOperational, false)) state_.peerDel(session.peer);
}

// ---- Sent --------------------------------------------------------------------------------------

/// A fatal notification was the last message of its session, whenever that was.
bool RecordedRouter::mayTake(const Sent& sent) {
  const Session& session = sessions_[sent.neighbor];
  if (std::holds_alternative<Initialization>(sent.message)) return session.begun > session.ours;
  const bool isNow = session.isOperational && session.begun == session.ours;
  if (const auto* const notification = std::get_if<Notification>(&sent.message))
    return !notification->isFatal || !isNow || recording_.events.empty();
  const bool isOfSession = std::holds_alternative<LabelMessage>(sent.message) ||
                           std::holds_alternative<AddressMessage>(sent.message);
  return !isOfSession || isNow || session.begun > session.ours;
}

void RecordedRouter::take(const Sent& sent) {
  Session& session = sessions_[sent.neighbor];
  if (std::holds_alternative<Initialization>(sent.message)) ++session.ours;
  if (!session.isOperational || session.begun != session.ours) return;
  if (const auto* const labels = std::get_if<LabelMessage>(&sent.message))
    state_.bindings.sent(session.peer, *labels);
  const auto* const notification = std::get_if<Notification>(&sent.message);
  if (notification != nullptr && notification->isFatal) endSession(session);
}

}  // namespace LdpAgent
