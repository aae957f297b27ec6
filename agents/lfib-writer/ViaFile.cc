#include "agents/lfib-writer/ViaFile.h"

#include <set>

#include "agents/routes/Fields.h"
#include "agents/routes/JsonTree.h"
#include "agents/routes/SonicRoute.h"

namespace LfibWriterAgent {

namespace {

using StaticRoutes::below;
using StaticRoutes::JsonTree;
using StaticRoutes::refuseAt;
using Kind = JsonTree::Kind;

/// A part of the document, and where it stands.
struct Node {
  const JsonTree& tree;
  std::string pointer;

  [[noreturn]] void refuse(const std::string& what) const {
    const bool hasText = tree.kind == Kind::string || tree.kind == Kind::number;
    refuseAt(pointer, hasText ? StaticRoutes::expected(what, tree.text)
                              : "expected " + what + ", found " + std::string(nameOf(tree.kind)));
  }
  void mustBe(Kind kind) const {
    if (tree.kind != kind) refuse(std::string(nameOf(kind)));
  }
  template <class Visit>
  void eachItem(Visit visit) const {
    mustBe(Kind::array);
    for (std::size_t i = 0; i < tree.members.size(); ++i)
      visit(Node{tree.members[i].tree, below(pointer, std::to_string(i))});
  }
  /// Of an object; a name that stands there twice is refused.
  template <class Visit>
  void eachMember(Visit visit) const {
    mustBe(Kind::object);
    std::set<std::string_view> names;
    for (const auto& [name, value] : tree.members) {
      const Node member{value, below(pointer, name)};
      if (!names.insert(name).second) refuseAt(member.pointer, "expected it once, found it twice");
      visit(name, member);
    }
  }

  std::uint32_t number(const std::string& what, std::uint32_t most) const {
    const auto value = tree.kind == Kind::number ? StaticRoutes::numberFromText(tree.text)
                                                 : std::optional<std::uint32_t>();
    if (!value || *value > most) refuse(what);
    return *value;
  }
  std::string string() const {
    mustBe(Kind::string);
    return tree.text;
  }
  bool boolean() const {
    mustBe(Kind::boolean);
    return tree.text == "true";
  }
  /// An enumerator by its name without `prefix`; `what` says which may stand here.
  template <class E>
  E oneOf(std::string_view prefix, const std::string& what) const {
    std::string name = string();
    if (!prefix.empty() && !name.empty() && name[0] >= 'a' && name[0] <= 'z')
      name[0] = static_cast<char>(name[0] - 'a' + 'A');
    name.insert(0, prefix);
    for (const auto& one : formaEnumerators(E{}))
      if (one.name == name) return one.value;
    refuse(what);
  }
};

class Reader {
 public:
  ViaFile read(std::string_view text) {
    guarded([&] { document(StaticRoutes::jsonTreeFromText(text)); });
    return std::move(file_);
  }

 private:
  using Route = Mpls::RouteKey;

  /// One error does not hide the others.
  template <class Read>
  void guarded(Read read) {
    try {
      read();
    } catch (const StaticRoutes::Refusal& refusal) {
      file_.errors.push_back(refusal.why);
    }
  }
  void document(const JsonTree& tree) {
    Node{tree, ""}.eachMember([this](const std::string& name, const Node& part) {
      guarded([&] {
        const auto each = [&](auto take) {
          part.eachItem([&](const Node& one) { guarded([&] { (this->*take)(one); }); });
        };
        if (name == "ipLookup") each(&Reader::ipLookup);
        else if (name == "pseudowire") each(&Reader::pseudowire);
        else if (name == "tagMap") tagMap(part);
        else unknown(part, name, "ipLookup, pseudowire or tagMap");
      });
    });
  }
  [[noreturn]] static void unknown(const Node& at, const std::string& name,
                                   const std::string& names) {
    refuseAt(at.pointer, StaticRoutes::expected(names, name));
  }
  static void need(const Node& object, bool isThere, const std::string& what) {
    if (!isThere) refuseAt(object.pointer, "expected a member " + what + ", found none");
  }

  /// Labels below 16 have a meaning of their own.
  Route label(const Node& at) {
    const std::uint32_t label = at.number("a label from 16 to 1048575", Netbase::MplsLabel::max);
    if (label < StaticRoutes::firstFreeLabel) at.refuse("a label from 16 to 1048575");
    if (!labels_.insert(label).second)
      refuseAt(at.pointer, "expected each label once, found " + at.tree.text + " again");
    return {label, 0};
  }

  void ipLookup(const Node& one) {
    std::optional<Route> key;
    Mpls::LfibIpLookupVia via;
    one.eachMember([&](const std::string& name, const Node& value) {
      if (name == "label") key = label(value);
      else if (name == "vrf") via.vrfNameIs(vrf(value));
      else if (name == "family")
        via.addressFamilyIs(value.oneOf<Netbase::AddressFamily>("", "ipv4 or ipv6"));
      else unknown(value, name, "label, vrf or family");
    });
    need(one, key.has_value(), "label");
    need(one, via.addressFamily() != Netbase::afUnknown_, "family (ipv4 or ipv6)");
    file_.ipLookups.emplace(*key, via);
  }
  static L3::VrfName vrf(const Node& at) {
    const std::string name = at.string();
    if (name.size() > L3::VrfName::maxLength()) at.refuse("a VRF name of at most 100 bytes");
    return L3::VrfName(name);
  }

  void pseudowire(const Node& one) {
    std::vector<Route> keys;
    Mpls::LfibPwVia via;
    one.eachMember([&](const std::string& name, const Node& value) {
      if (name == "labels") value.eachItem([&](const Node& at) { keys.push_back(label(at)); });
      else if (name == "interface") via.pwIntfIdIs(intf(value));
      else if (name == "controlWord") via.controlWordPresentIs(value.boolean());
      else if (name == "type")
        via.pwTypeIs(value.oneOf<Mpls::PwType>("pwType", "ethernet or ethernetTagged"));
      else unknown(value, name, "interface, type, controlWord or labels");
    });
    need(one, !via.pwIntfId().empty(), "interface");
    need(one, via.pwType() != Mpls::pwTypeUnknown_, "type (ethernet or ethernetTagged)");
    for (const Route& key : keys) file_.pseudowires.emplace(key, via);
  }
  static Netbase::IntfId intf(const Node& at) {
    const auto intf = StaticRoutes::intfFromText(at.string());
    if (!intf) at.refuse("an interface name of 1 to 15 bytes");
    return *intf;
  }

  void tagMap(const Node& one) {
    std::optional<Mpls::LFib::Source> source;
    std::optional<std::uint32_t> index;
    ViaFile::Tags tags;
    one.eachMember([&](const std::string& name, const Node& value) {
      if (name == "source") source = sourceOf(value);
      else if (name == "index") index = value.number("a number of 32 bits", UINT32_MAX);
      else if (name == "vlans") vlans(value, tags);
      else unknown(value, name, "source, index or vlans");
    });
    need(one, source.has_value(), "source");
    need(one, index.has_value(), "index");
    file_.tagMaps.emplace(Mpls::LfibDot1qTagToVlanKey(*source, *index), std::move(tags));
  }
  static Mpls::LFib::Source sourceOf(const Node& at) {
    const std::string what = "a source of LFIB rows, such as bgpL2Evpn";
    const auto source = at.oneOf<Mpls::LFib::Source>("lfibSource", what);
    if (source == Mpls::LFib::lfibSourceUnknown_ || source == Mpls::LFib::lfibSourceMax_)
      at.refuse(what);
    return source;
  }
  static void vlans(const Node& object, ViaFile::Tags& tags) {
    object.eachMember([&](const std::string& name, const Node& value) {
      const auto tag = StaticRoutes::numberFromText(name);
      if (!tag || *tag == 0 || *tag > Netbase::VlanId::max)
        refuseAt(value.pointer, StaticRoutes::expected("a tag from 1 to 4094", name));
      const std::uint32_t vlan = value.number("a VLAN from 1 to 4094", Netbase::VlanId::max);
      if (vlan == 0) value.refuse("a VLAN from 1 to 4094");
      if (!tags.emplace(*tag, vlan).second) refuseAt(value.pointer, "expected each tag once");
    });
  }

  ViaFile file_;
  std::set<std::uint32_t> labels_;
};

}  // namespace

ViaFile viaFileFromText(std::string_view text) { return Reader().read(text); }

}  // namespace LfibWriterAgent
