#include "agents/ldp-agent/FollowedFile.h"

#include <utility>

#include "agents/replay/LineReader.h"

namespace LdpAgent {

namespace {

/// Labels below have a meaning of their own: packets with them need no route.
constexpr std::uint32_t firstFreeLabel = 16;

}  // namespace

FollowedFile::FollowedFile(std::string path, std::vector<NeighborHop> hops, RouterState& state)
    : path_(std::move(path)), hops_(std::move(hops)), state_(state) {
  for (std::uint32_t i = 0; i < hops_.size(); ++i)
    if (!hops_[i].intf.empty()) state_.interfaces.nameIs(i, hops_[i].intf);
  readMore();
}

void FollowedFile::readMore() {
  read_ = RouterBindings::bindingFileFrom(Replay::documentOf(path_).node());
}

bool FollowedFile::step() {
  if (!read_) return false;
  take(*std::exchange(read_, std::nullopt));
  return true;
}

void FollowedFile::take(const BindingFile& file) {
  Snapshot wanted = file.snapshot;
  state_.installs.clear();
  state_.links.clear();
  for (const NeighborHop& hop : hops_) {
    if (!hop.intf.empty()) state_.links.adjacencyIs(hop.intf, hop.neighbor);
    if (wanted.peers.contains(hop.neighbor)) wanted.addresses[hop.address] = hop.neighbor;
  }
  for (const auto& one : wanted.peers) state_.links.peerIs(one.first, true);
  for (const Use& use : file.uses) install(use);
  state_.bindings.snapshotIs(wanted);
}

void FollowedFile::install(const Use& use) {
  if (use.local.value() < firstFreeLabel) return;
  Replay::LabelChange change;
  change.label = use.local;
  change.fec = use.fec;
  for (std::uint32_t i = 0; i < hops_.size(); ++i)
    if (hops_[i].neighbor == use.neighbor)
      change.nextHops.push_back({hops_[i].address, i, Mpls::LabelStack(use.remote)});
  state_.installs.take(change);
}

}  // namespace LdpAgent
