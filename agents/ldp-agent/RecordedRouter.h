/// Goes through the messages of a recorded router, received and sent ones, and keeps its state.
///
/// The two lists have no common clock. A message that was sent is taken as soon as it could have
/// been: the first of a session when that of the peer was received, addresses and labels while the
/// session is operational. Labels bound by then are those that the peer was told.
///
/// Thread    one.
/// Outputs   the state. A peer that is lost takes its bindings, addresses and next hops with it.
#pragma once

#include <map>
#include <string>

#include "agents/ldp-agent/Recording.h"
#include "agents/ldp-agent/RouterState.h"
#include "agents/ldp-agent/Source.h"

namespace LdpAgent {

class RecordedRouter : public Source {
 public:
  /// Reads all that there is. Both must outlive the object.
  RecordedRouter(Recording& recording, RouterState& state);

  bool step() override;
  void readMore() override;
  std::vector<std::string> paths() const override;

 private:
  struct Session {
    LdpIdentifier peer;
    unsigned begun = 0;  // how often the peer sent an Initialization
    unsigned ours = 0;   // how often we did
    bool isOperational = false;
  };

  void take(const Received& received);
  void take(const SessionEnd& end) { endSession(sessions_[end.neighbor]); }
  void take(const Hello& hello) { state_.links.helloFrom(hello.source, hello.peer); }
  void take(const InterfaceState& intf) { state_.links.operativeIs(intf.intf, intf.isOperative); }
  void take(const InterfaceNetwork& intf) {
    state_.links.networkIs(intf.intf, intf.network, intf.isThere);
  }
  void take(const Replay::LabelChange& change) { state_.installs.take(change); }

  bool mayTake(const Sent& sent);
  void take(const Sent& sent);
  void begin(Session& session, const LdpIdentifier& peer);
  void endSession(Session& session);

  Recording& recording_;
  RouterState& state_;
  std::map<NeighborId, Session> sessions_;
};

}  // namespace LdpAgent
