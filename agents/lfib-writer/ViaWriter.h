/// Puts the labels of a ViaFile into an LFIB: IP lookups, pseudowires, tag maps.
///
/// Rows are shared, ordered and adopted as LfibRouteWriter does it; vias are never rewritten, so a
/// label whose VRF changes gets another via. A label that another source has a route of, with the
/// same metric, is left to that one, and comes when that one goes.
///
/// Thread    that of the loop.
/// Outputs   the routes, via sets and vias of the sources below, and all tag maps.
/// Restart   adopts the rows that are there; with the first file it writes differences only.
#pragma once

#include <functional>
#include <string>

#include "agents/lfib-writer/ViaFile.h"
#include "mpls/lfib/LfibRouteWriter.h"
#include "mpls/lfib/LfibStatusSm.h"
#include "platform/kiln/EventLoop.h"

namespace LfibWriterAgent {

class ViaWriter {
 public:
  using Report = std::function<void(const std::string& text)>;

  /// Changes nothing yet. `report` hears of labels that are left to others.
  ViaWriter(Forma::Ptr<Mpls::LfibStatus> lfib, Kiln::EventLoop& loop, Report report);

  /// Makes the LFIB equal to a file without errors.
  void wantedIs(ViaFile wanted);
  /// How many labels, and tags, the file has.
  std::size_t ipLookups() const { return wanted_.ipLookups.size(); }
  std::size_t pseudowires() const { return wanted_.pseudowires.size(); }
  std::size_t tags() const;

  static constexpr Mpls::LFib::Source ipLookupSource = Mpls::LFib::lfibSourceBgpL3Vpn_;
  static constexpr Mpls::LFib::Source pseudowireSource = Mpls::LFib::lfibSourcePseudowire_;

 private:
  struct RouteReactor : Mpls::LfibStatus::NotifieeConst {
    using NotifieeConst::onLfibRoute;
    explicit RouteReactor(ViaWriter& writer) : owner(writer) {}
    void onLfibRoute(const Mpls::RouteKey& key) override { owner.handleRoute(key); }
    ViaWriter& owner;
  };

  /// Somebody else may have taken, or left, a label of ours.
  void handleRoute(const Mpls::RouteKey& key);
  void writeRoutes();
  template <class Row, class Rows>
  void writeRows(Mpls::LfibRouteWriterOf<Row>& writer, const Rows& rows);
  template <class Row, class Rows>
  void removeRows(Mpls::LfibRouteWriterOf<Row>& writer, const Rows& rows);
  void writeTagMaps();
  bool isOthers(const Mpls::RouteKey& key) const;

  const Forma::Ptr<Mpls::LfibStatus> lfib_;
  const Report report_;
  Mpls::LfibRouteWriterOf<Mpls::LfibIpLookupVia> ipLookups_;
  Mpls::LfibRouteWriterOf<Mpls::LfibPwVia> pseudowires_;
  Forma::Ptr<Mpls::LfibStatusProducerSm> tagMaps_;  // null before the first file
  ViaFile wanted_;
  RouteReactor reactor_;
  Kiln::Timer again_;
  std::set<Mpls::RouteKey> leftToOthers_;  // as reported
};

}  // namespace LfibWriterAgent
