#include "tools/mplsctl/VerifyState.h"

#include <set>

#include "agents/router-bindings/StateFile.h"

namespace MplsCtl {

namespace {

using RouterBindings::Fec;
using RouterBindings::Snapshot;

/// All facts of a snapshot, as lines.
std::set<std::string> factsOf(const Snapshot& snapshot, bool withAdvertised) {
  std::set<std::string> facts;
  const auto addLabels = [&facts](const std::string& router, const Snapshot::Labels& all) {
    for (const auto& [fec, labels] : all)
      for (const auto& label : labels)
        facts.insert(router + textOf(fec) + " label " + labelText(label));
  };
  addLabels("local ", snapshot.local);
  for (const auto& [peer, labels] : snapshot.peers) addLabels("peer " + textOf(peer) + " ", labels);
  if (withAdvertised)
    for (const auto& [fec, peers] : snapshot.advertised)
      for (const auto& peer : peers)
        facts.insert("advertised " + textOf(fec) + " to " + textOf(peer));
  return facts;
}

/// What is in one only.
void addMissing(const std::set<std::string>& facts, const std::set<std::string>& others,
                const std::string& word, Check& check) {
  for (const std::string& fact : facts)
    if (!others.contains(fact)) check.failed(std::string(word).append(": ").append(fact));
}

std::string countsOf(const Snapshot& snapshot) {
  return std::to_string(snapshot.labels()) + " local bindings, " +
         std::to_string(snapshot.advertisements()) + " advertisements, " +
         std::to_string(snapshot.peerLabels()) + " peer bindings";
}

}  // namespace

Check ldpStateCheck(const LdpReader& reader, const std::string& file) {
  const Snapshot said = RouterBindings::snapshotFromFile(file);
  const Snapshot there = RouterBindings::snapshotOf(reader.local(), reader.peers());
  const bool withAdvertised = !said.advertised.empty();
  const auto facts = factsOf(there, withAdvertised);
  const auto wanted = factsOf(said, withAdvertised);
  Check check("state", file);
  addMissing(wanted, facts, "missing", check);
  addMissing(facts, wanted, "unexpected", check);
  check.summaryIs(countsOf(there));
  return check;
}

}  // namespace MplsCtl
