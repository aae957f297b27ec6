#include "mpls/tables/SegmentRoutingRows.h"

#include <algorithm>
#include <string_view>

namespace Tarn::SegmentRouting {

FORMA_DEFINE_VALUE(PfxSegmentFlags)
FORMA_DEFINE_WIRE(PrefixSegment)
FORMA_DEFINE_VALUE(GlobalBlock)

namespace {

/// A flag as the text of a row shows it, which spells some in its own way.
struct ShownFlag {
  std::string_view label;
  const bool& (PfxSegmentFlags::*get)() const;
  void (PfxSegmentFlags::*set)(bool);
};

constexpr ShownFlag shownFlags[] = {
    {", 'noPhp': ", &PfxSegmentFlags::noPhp, &PfxSegmentFlags::noPhpIs},
    {", 'explicitNull': ", &PfxSegmentFlags::explicitNull, &PfxSegmentFlags::explicitNullIs},
    {", 'node': ", &PfxSegmentFlags::node, &PfxSegmentFlags::nodeIs},
    {", 'proxy': ", &PfxSegmentFlags::proxy, &PfxSegmentFlags::proxyIs},
    {", 'readvert': ", &PfxSegmentFlags::reAdvert, &PfxSegmentFlags::reAdvertIs},
    {", 'local': ", &PfxSegmentFlags::isLocal, &PfxSegmentFlags::isLocalIs}};

template <class T>
T parsed(Forma::TextIn& in, std::string_view label) {
  T v{};
  in.take(label);
  Forma::parse(in, v);
  return v;
}

}  // namespace

void formaPrint(std::string& out, const PrefixSegment& v) {
  const auto field = [&out](std::string_view label, const auto& value) {
    out.append(label);
    Forma::print(out, value);
  };
  out.append(PrefixSegment::formaOpening);
  field("'key': ", v.key());
  field(", 'sid': ", v.sid());
  field(", 'rtrid': ", v.rtrid());
  for (const ShownFlag& one : shownFlags) field(one.label, (v.flags().*one.get)());
  field(", 'flags': ", v.flags());
  field(", 'level': ", v.level());
  out.append("})");
}

void formaParse(Forma::TextIn& in, PrefixSegment& v) {
  in.take(PrefixSegment::formaOpening);
  PrefixSegment next(parsed<Netbase::IpGenPrefix>(in, "'key': "));
  next.sidIs(parsed<Mpls::SegmentRouting::SegmentIdentifier>(in, ", 'sid': "));
  next.rtridIs(parsed<Mpls::RouterId>(in, ", 'rtrid': "));
  PfxSegmentFlags flags;
  for (const ShownFlag& one : shownFlags) (flags.*one.set)(parsed<bool>(in, one.label));
  flags = parsed<PfxSegmentFlags>(in, ", 'flags': ");
  next.flagsIs(flags);
  next.levelIs(parsed<std::uint8_t>(in, ", 'level': "));
  in.take("})");
  v = next;
}

Netbase::MplsLabel GlobalBlock::mplsLabel(
    const Mpls::SegmentRouting::SegmentIdentifier& sid) const {
  if (sid.isValue()) return sid.index() & Netbase::MplsLabel::max;
  if (sid.index() >= labelRange_.size()) return {};
  const std::uint64_t label = std::uint64_t{labelRange_.base().value()} + sid.index();
  return static_cast<std::uint32_t>(std::min<std::uint64_t>(label, UINT32_MAX));
}

}  // namespace Tarn::SegmentRouting
