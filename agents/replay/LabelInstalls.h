/// Keeps an LFIB equal to what a recorded router installs: its labels, each with its next hops.
///
/// Changes go into a model first; write() then brings the LFIB in line, for the labels that changed
/// and with the rows that differ only. Who replays a whole recording before the first write() shows
/// the readers its end alone.
///
/// Thread    that of the LFIB.
/// Owns      the routes of its sources, at metric Constants::metricDefault, and their via sets and
///           vias.
/// Restart   adopts the rows that are there; finish() removes those that nobody stated again.
#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <set>
#include <span>
#include <vector>

#include "agents/replay/Interfaces.h"
#include "agents/replay/LabelChange.h"
#include "mpls/lfib/LfibRouteWriter.h"

namespace Replay {

class LabelInstalls {
 public:
  using NextHops = std::set<NextHop>;
  /// The source of a label's route, one of those that the object was made with.
  using SourceOf = std::function<Mpls::LFib::Source(Netbase::MplsLabel, const NextHops&)>;

  /// All routes of one source. `interfaces` must outlive the object.
  LabelInstalls(Forma::Ptr<Mpls::LfibStatus> lfib, Mpls::LFib::Source source,
                const Interfaces& interfaces);
  LabelInstalls(Forma::Ptr<Mpls::LfibStatus> lfib, std::span<const Mpls::LFib::Source> sources,
                SourceOf sourceOf, const Interfaces& interfaces);

  // ---- The model --------------------------------------------------------------------------------

  void take(const LabelChange& change);
  void labelDel(Netbase::MplsLabel label);
  /// Takes the next hops of that address out of all labels; labels without any go.
  void nextHopDel(const Netbase::IpGenAddr& address);
  void clear();
  /// Interfaces have other names, or sources are others: all labels are looked at again.
  void allChanged();

  std::size_t labels() const { return labels_.size(); }
  std::size_t nextHops() const;
  /// Calls `visit(label, nextHops)` in the order of labels.
  template <class Visit>
  void eachLabel(Visit visit) const {
    for (const auto& [label, state] : labels_) visit(label, state.nextHops);
  }

  // ---- The LFIB ---------------------------------------------------------------------------------

  /// Of a label's next hops the first LfibRouteWriter::maxVias count.
  void write();
  /// The same, and removes what an earlier run left: routes of labels that are not in the model,
  /// and rows that nobody uses.
  void finish();
  /// Rows written or removed so far.
  std::uint64_t changes() const;

 private:
  struct Label {
    NextHops nextHops;
    Mpls::FwdEqvClass fec;
  };
  struct Source {
    Mpls::LFib::Source source;
    std::unique_ptr<Mpls::LfibRouteWriter> writer;  // stays where it is
  };
  using Labels = std::map<Netbase::MplsLabel, Label>;

  Labels::iterator dropIfEmpty(Labels::iterator at);
  void setRoute(Netbase::MplsLabel label);
  Mpls::LfibMplsVia viaOf(const NextHop& nextHop) const;

  const Interfaces& interfaces_;
  const SourceOf sourceOf_;
  std::vector<Source> sources_;
  Labels labels_;
  std::set<Netbase::MplsLabel> changed_;  // since the last write()
};

}  // namespace Replay
