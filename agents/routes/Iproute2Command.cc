#include "agents/routes/Iproute2Command.h"

#include <algorithm>
#include <array>
#include <utility>

#include "agents/routes/Fields.h"

namespace StaticRoutes {

namespace {

using Netbase::IpGenAddr;
using Netbase::MplsLabel;
using Verb = Iproute2Command::Verb;

constexpr std::array<std::pair<std::string_view, Verb>, 9> verbs{{{"add", Verb::add},
                                                                  {"replace", Verb::replace},
                                                                  {"change", Verb::change},
                                                                  {"append", Verb::append},
                                                                  {"del", Verb::del},
                                                                  {"delete", Verb::del},
                                                                  {"show", Verb::none},
                                                                  {"list", Verb::none},
                                                                  {"get", Verb::none}}};

constexpr std::array<std::string_view, 10> otherTypes{
    "blackhole", "unreachable", "prohibit", "multicast", "broadcast",
    "local",     "throw",       "nat",      "xresolve",  "anycast"};

constexpr std::string_view labelText = "a label from 0 to 1048575";

/// A number as the C library reads it: 0x hexadecimal, 0 octal, else decimal.
std::optional<std::uint32_t> numberOfAnyBase(std::string_view text) {
  if (text.starts_with("0x") || text.starts_with("0X")) return numberFromText(text.substr(2), 16);
  if (text.size() > 1 && text[0] == '0') return numberFromText(text.substr(1), 8);
  return numberFromText(text);
}

/// Reads the next hops and attributes of one route.
class RouteReader {
 public:
  explicit RouteReader(WordReader& in) : in_(in) {}
  std::vector<Mpls::Via> read();

 private:
  /// A next hop as it stands in the line.
  struct Hop {
    Mpls::Via via;
    Place place;
    bool as = false, gateway = false, dev = false, weight = false;
    bool empty() const { return !as && !gateway && !dev && !weight; }
  };

  void readWord(const Word& word);
  void nexthop(const Word& word);
  void as(const Word& word);
  void gateway(const Word& word);
  void dev(const Word& word);
  void weight(const Word& word);
  void proto(const Word& word);
  void ttlPropagate(const Word& word);
  void once(bool& seen, const Word& word);
  void finish(Hop hop);

  WordReader& in_;
  std::vector<Mpls::Via> vias_;
  Hop hop_;
  bool multipath_ = false, proto_ = false, ttl_ = false;
  Mpls::TtlMode ttlMode_ = Mpls::undefinedTtlMode_;
};

std::vector<Mpls::Via> RouteReader::read() {
  hop_.place = in_.place();
  while (!in_.atEnd()) readWord(in_.take("a word"));
  finish(std::move(hop_));
  for (Mpls::Via& via : vias_) via.ttlModeIs(ttlMode_);
  return std::move(vias_);
}

void RouteReader::readWord(const Word& word) {
  using Handler = void (RouteReader::*)(const Word&);
  static constexpr std::array<std::pair<std::string_view, Handler>, 7> handlers{
      {{"nexthop", &RouteReader::nexthop},
       {"as", &RouteReader::as},
       {"via", &RouteReader::gateway},
       {"dev", &RouteReader::dev},
       {"weight", &RouteReader::weight},
       {"proto", &RouteReader::proto},
       {"ttl-propagate", &RouteReader::ttlPropagate}}};
  const auto found = std::ranges::find(handlers, word.text, [](auto& one) { return one.first; });
  if (found == handlers.end())
    refuse(word, "as, via, dev, nexthop, weight, proto or ttl-propagate");
  (this->*found->second)(word);
}

/// Begins a next hop of a multipath route, which has none outside of them.
void RouteReader::nexthop(const Word& word) {
  if (!multipath_ && !hop_.empty()) refuse(word, "proto, ttl-propagate or the end of the line");
  if (multipath_) finish(std::move(hop_));
  multipath_ = true;
  hop_ = Hop();
  hop_.place = in_.place();
}

void RouteReader::once(bool& seen, const Word& word) {
  if (seen) refuse(word, "a word that this next hop does not have yet");
  seen = true;
}

void RouteReader::as(const Word& word) {
  once(hop_.as, word);
  in_.takeIf("to");
  const Word& stack = in_.take("a label");
  if (stack.text.find('/') != std::string_view::npos)
    refuse(stack, "a single label, since a via holds no more");
  const auto label = numberOfAnyBase(stack.text);
  if (!label || *label > MplsLabel::max) refuse(stack, labelText);
  if (*label == implicitNull) refuse(stack, "a label that packets carry (to pop, leave out `as`)");
  swapIs(hop_.via, *label);
}

void RouteReader::gateway(const Word& word) {
  once(hop_.gateway, word);
  const Word& family = in_.take("inet or inet6");
  const bool v6 = family.text == "inet6";
  if (!v6 && family.text != "inet") refuse(family, "inet or inet6");
  const std::string_view what = v6 ? "an IPv6 address" : "an IPv4 address";
  const Word& text = in_.take(what);
  const auto address = IpGenAddr::fromText(text.text);
  if (!address || (v6 ? !address->isV6() : !address->isV4())) refuse(text, what);
  hop_.via.nextHopIs(*address);
}

void RouteReader::dev(const Word& word) {
  once(hop_.dev, word);
  const Word& name = in_.take("an interface");
  const auto intf = intfFromText(name.text);
  if (!intf) refuse(name, "an interface name of at most 15 bytes");
  hop_.via.intfIs(*intf);
}

void RouteReader::weight(const Word& word) {
  if (!multipath_) refuse(word, "a weight only after nexthop");
  once(hop_.weight, word);
  const Word& text = in_.take("a weight");
  const auto number = numberOfAnyBase(text.text);
  if (!number || *number < 1 || *number > 256) refuse(text, "a weight from 1 to 256");
  hop_.via.weightIs(*number);
}

/// Who added the route: not kept.
void RouteReader::proto(const Word& word) {
  once(proto_, word);
  in_.take("a protocol");
}

void RouteReader::ttlPropagate(const Word& word) {
  once(ttl_, word);
  const Word& mode = in_.take("enabled or disabled");
  if (mode.text == "enabled") ttlMode_ = Mpls::uniform_;
  else if (mode.text == "disabled") ttlMode_ = Mpls::pipe_;
  else refuse(mode, "enabled or disabled");
}

void RouteReader::finish(Hop hop) {
  if (!hop.gateway && !hop.dev)
    throw Refusal{{hop.place, "expected a next hop with via or dev, found neither"}};
  if (!hop.as) popIs(hop.via);
  if (std::ranges::find(vias_, hop.via) != vias_.end())
    throw Refusal{{hop.place, "expected a next hop of its own, found one that stands there twice"}};
  vias_.push_back(std::move(hop.via));
}

void readType(WordReader& in, bool deleting) {
  if (in.takeIf("unicast")) return;
  if (std::ranges::find(otherTypes, in.peek()) == otherTypes.end()) return;
  const Word& type = in.take("a type");
  if (!deleting) refuse(type, "unicast, since a route without vias cannot be held");
}

}  // namespace

Iproute2Command iproute2CommandFrom(WordReader& in) {
  Iproute2Command command;
  if (in.atEnd()) return command;  // `ip -f mpls route` shows them
  const Word& verb = in.take("a verb");
  const auto found = std::ranges::find(verbs, verb.text, [](auto& one) { return one.first; });
  if (found == verbs.end()) refuse(verb, "add, replace, change, append or del");
  command.verb = found->second;
  if (command.verb == Verb::none) return command;
  readType(in, command.verb == Verb::del);
  command.label = in.take("an incoming label");
  const auto label = numberOfAnyBase(command.label.text);
  if (!label || *label > MplsLabel::max) refuse(command.label, labelText);
  command.inLabel = *label;
  if (command.verb != Verb::del || !in.atEnd()) command.vias = RouteReader(in).read();
  return command;
}

}  // namespace StaticRoutes
