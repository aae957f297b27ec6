#include "agents/router-bindings/Snapshot.h"

#include <numeric>

namespace RouterBindings {

namespace {

template <class Key, class Value>
std::size_t membersOf(const std::map<Key, std::set<Value>>& sets) {
  return std::accumulate(sets.begin(), sets.end(), std::size_t{0},
                         [](std::size_t sum, const auto& one) { return sum + one.second.size(); });
}

Snapshot::Labels allLabelsOf(const Ldp::LabelBindingTable& table) {
  Snapshot::Labels all;
  for (const auto& one : table.mplsLabelSetIteratorConst())
    if (auto labels = labelsOf(table, one.key); !labels.empty()) all[one.key] = std::move(labels);
  return all;
}

}  // namespace

std::size_t Snapshot::labels() const { return membersOf(local); }
std::size_t Snapshot::advertisements() const { return membersOf(advertised); }
std::size_t Snapshot::peerLabels() const {
  std::size_t sum = 0;
  for (const auto& one : peers) sum += membersOf(one.second);
  return sum;
}

std::set<Label> labelsOf(const Ldp::LabelBindingTable& table, const Fec& fec) {
  std::set<Label> labels;
  if (const auto set = table.mplsLabelSet(fec))
    for (const auto& one : set->mplsLabelIteratorConst())
      if (one.value) labels.insert(one.key);
  return labels;
}

std::set<LdpIdentifier> identifiersOf(const Ldp::LabelBindingTable& table, const Fec& fec) {
  std::set<LdpIdentifier> all;
  if (const auto set = table.advertisedTo(fec))
    for (const auto& one : set->identifierIteratorConst()) all.insert(one.key);
  return all;
}

Snapshot snapshotOf(const Ldp::LabelBindingTable& local, const Ldp::LabelBindingTableColl& peers) {
  Snapshot snapshot;
  snapshot.local = allLabelsOf(local);
  for (const auto& one : local.advertisedToIteratorConst())
    if (auto told = identifiersOf(local, one.key); !told.empty())
      snapshot.advertised[one.key] = std::move(told);
  for (const auto& one : peers.bindingTableIteratorConst())
    if (auto labels = allLabelsOf(*one.value); !labels.empty())
      snapshot.peers[one.key] = std::move(labels);
  return snapshot;
}

}  // namespace RouterBindings
