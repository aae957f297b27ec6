#include "agents/router-bindings/BindingFile.h"

#include <charconv>

namespace RouterBindings {

namespace {

using Replay::Node;

/// "-" is no label, explicit null is another label in each family (RFC 3032).
std::optional<Label> labelFrom(const Node& node, const Fec& fec) {
  if (!node.isText()) return node.label();
  const std::string& text = node.text();
  if (text == "-" || text.empty()) return std::nullopt;
  if (text == "imp-null") return Label(3);
  if (text == "exp-null") return Label(fec.prefix().af() == Netbase::ipv6_ ? 2 : 0);
  std::uint32_t number = 0;
  const char* const end = text.data() + text.size();
  const auto [stop, error] = std::from_chars(text.data(), end, number);
  if (error != std::errc() || stop != end || number > Label::max)
    node.refuse("a label, imp-null, exp-null or -");
  return Label(number);
}

/// The label space is always 0.
LdpIdentifier neighborFrom(const Node& node) {
  const Netbase::IpGenAddr address = node.address();
  if (address.isV6()) node.refuse("an identifier such as 10.0.0.1");
  return LdpIdentifier(address.v4().value());
}

bool flagFrom(const Node& node) {
  return node.json().is_boolean() ? node.boolean() : node.number("0 or 1", 1) == 1;
}

/// Takes the bindings of one FEC.
class Taker {
 public:
  Taker(BindingFile& file, Fec fec, const Node& local)
      : file_(file), fec_(fec), local_(labelFrom(local, fec)) {
    if (local_) file_.snapshot.local[fec_].insert(*local_);
  }
  /// Identifier 0 stands for no neighbour.
  void remote(const Node& neighborNode, const Node& labelNode, const Node& inUse) {
    const LdpIdentifier neighbor = neighborFrom(neighborNode);
    const auto label = labelFrom(labelNode, fec_);
    const bool isUsed = flagFrom(inUse);
    if (neighbor == LdpIdentifier::ldpIdZero || !label) return;
    file_.snapshot.peers[neighbor][fec_].insert(*label);
    if (isUsed && local_) file_.uses.push_back({fec_, *local_, neighbor, *label});
  }
  void advertised(const Node& neighbor) {
    file_.snapshot.advertised[fec_].insert(neighborFrom(neighbor));
  }

 private:
  BindingFile& file_;
  const Fec fec_;
  const std::optional<Label> local_;
};

void takeLine(BindingFile& file, const Node& line) {
  Taker taker(file, Fec(line.member("prefix").prefix()), line.member("localLabel"));
  taker.remote(line.member("neighborId"), line.member("remoteLabel"), line.member("inUse"));
}

void takeDetail(BindingFile& file, const std::string& prefix, const Node& detail) {
  const auto parsed = Replay::maskedPrefix(prefix);
  if (!parsed) detail.refuse("an IP prefix as its name");
  Taker taker(file, Fec(*parsed), detail.member("localLabel"));
  if (const auto list = detail.find("advertisedTo"))
    list->eachItem([&](const Node& one) { taker.advertised(one.member("neighborId")); });
  if (const auto list = detail.find("remoteLabels"))
    list->eachItem([&](const Node& one) {
      taker.remote(one.member("neighborId"), one.member("label"), one.member("inUse"));
    });
}

}  // namespace

BindingFile bindingFileFrom(const Node& document) {
  BindingFile file;
  if (const auto lines = document.find("bindings"))
    lines->eachItem([&](const Node& one) { takeLine(file, one); });
  else
    document.eachMember(
        [&](const std::string& prefix, const Node& detail) { takeDetail(file, prefix, detail); });
  return file;
}

}  // namespace RouterBindings
