#include "agents/forwarding-agent/Publisher.h"

#include <utility>

#include "agents/common/Paths.h"

namespace ForwardingAgent {

IpLookupCopy::IpLookupCopy(Forma::Ptr<Mpls::LfibIpLookupStatus const> from,
                           Forma::Ptr<Mpls::LfibIpLookupStatus> to)
    : to_(std::move(to)) {
  for (const auto& one : from->labelVrfAfIteratorConst()) to_->labelVrfAfIs(one.key, true);
  notifierIs(std::move(from));
}

void IpLookupCopy::onLabelVrfAf(const Mpls::LfibIpLookupStatusLabelVrfAf& value) {
  if (notifier()->labelVrfAf(value)) to_->labelVrfAfIs(value, true);
  else to_->labelVrfAfDel(value);
}

Publisher::Publisher(Agents::Program& program, std::vector<IpLookups> lfibs,
                     Mpls::LfibForwardingSm& sm)
    : program_(program), lfibs_(std::move(lfibs)), sm_(sm) {
  sm_.onRouteIs([this](const Mpls::RouteKey& key) { setOutputForLabel(key.topLabel()); });
  std::vector<Agents::Wish> wishes{
      {Agents::labelViasPath, Mpls::LfibCentrumStatus::formaTypeName, "x"}};
  for (const IpLookups& one : lfibs_)
    wishes.push_back(
        {Agents::ipLookupPath(one.name), Mpls::LfibIpLookupStatus::formaTypeName, "x"});
  program_.mount(wishes, [this] { handleMounts(); });
}

void Publisher::handleMounts() {
  const auto commit = [this](const std::string& path) {
    program_.manager()->commit(Forma::String8(path));
  };
  for (const IpLookups& one : lfibs_) {
    const std::string path = Agents::ipLookupPath(one.name);
    copies_.push_back(std::make_unique<IpLookupCopy>(
        one.status, program_.entity<Mpls::LfibIpLookupStatus>(path)));
    commit(path);
  }
  labelVias_ = program_.entity<Mpls::LfibCentrumStatus>(Agents::labelViasPath);
  sm_.eachRoute([this](const Mpls::RouteKey& key, const Mpls::LfibForwardingEntry& entry) {
    if (Mpls::LfibStatus::isEvpnViaType(entry.viaSetKey().viaType()))
      setOutputForLabel(key.topLabel());
  });
  commit(Agents::labelViasPath);
}

void Publisher::setOutputForLabel(Netbase::MplsLabel label) {
  if (!labelVias_) return;
  Mpls::LfibCentrumStatus& to = *labelVias_;
  const auto entry = sm_.lookup(label);
  const Mpls::LfibViaRow* const via = entry ? &entry->vias().front() : nullptr;
  if (const auto* row = std::get_if<Mpls::LfibIpLookupVia>(via))
    to.ipLookupViaIs({label, row->vrfName(), row->addressFamily()});
  else to.ipLookupViaDel(label);
  if (const auto* row = std::get_if<Mpls::LfibVlanVia>(via))
    to.vlanViaIs({label, row->vlanId(), row->flag()});
  else to.vlanViaDel(label);
  if (const auto* row = std::get_if<Mpls::LfibEvpnVlanFloodVia>(via))
    to.vlanFloodViaIs({label, row->vlanId(), row->flag()});
  else to.vlanFloodViaDel(label);
  if (const auto* row = std::get_if<Mpls::LfibEvpnEthernetSegmentFilterVia>(via))
    to.ethernetSegmentFilterViaIs({label, row->intfId()});
  else to.ethernetSegmentFilterViaDel(label);
}

}  // namespace ForwardingAgent
