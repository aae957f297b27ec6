/// `mplsctl ldp verify FILE`: whether the tables hold what the router itself says that it knows.
#include <iostream>

#include "agents/common/ExitCode.h"
#include "agents/router-bindings/StateFile.h"
#include "tools/mplsctl/LdpReader.h"

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

/// Prints what is in one only; how many that are.
std::size_t printMissing(const std::set<std::string>& facts, const std::set<std::string>& others,
                         const char* word) {
  std::size_t count = 0;
  for (const std::string& fact : facts)
    if (!others.contains(fact) && ++count != 0) std::cout << word << ": " << fact << '\n';
  return count;
}

std::string countsOf(const Snapshot& snapshot) {
  return std::to_string(snapshot.labels()) + " local bindings, " +
         std::to_string(snapshot.advertisements()) + " advertisements, " +
         std::to_string(snapshot.peerLabels()) + " peer bindings";
}

}  // namespace

int ldpVerify(const Options& options) {
  const Snapshot said = RouterBindings::snapshotFromFile(options.file);
  Agents::Program program(options, Agents::Program::Kind::query);
  LdpReader reader(program, options);
  if (!reader.await()) return program.ended() ? program.exitCode() : Agents::exitDatabase;
  const Snapshot there = RouterBindings::snapshotOf(reader.local(), reader.peers());
  const bool withAdvertised = !said.advertised.empty();
  const auto facts = factsOf(there, withAdvertised);
  const auto wanted = factsOf(said, withAdvertised);
  const std::size_t differences =
      printMissing(wanted, facts, "missing") + printMissing(facts, wanted, "unexpected");
  if (differences == 0) std::cout << "equal: " << countsOf(there) << '\n';
  else std::cout << "differences: " << differences << '\n';
  if (reader.exitCode() != Agents::exitGood) return reader.exitCode();
  return differences == 0 ? Agents::exitGood : Agents::exitPartRefused;
}

}  // namespace MplsCtl
