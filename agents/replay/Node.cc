#include "agents/replay/Node.h"

#include <charconv>

#include "agents/common/Printable.h"

namespace Replay {

namespace {

using Json = nlohmann::json;

/// What stands there, short enough for a line.
std::string shown(const Json& json) {
  constexpr std::size_t longest = 60;
  if (json.is_object()) return "an object";
  if (json.is_array()) return "an array";
  const std::string text = json.dump(-1, ' ', true, Json::error_handler_t::replace);
  return Agents::printable(text.substr(0, longest)) + (text.size() > longest ? "..." : "");
}

}  // namespace

// ---- Objects and arrays -------------------------------------------------------------------------

std::optional<Node> Node::find(std::string_view name) const {
  if (!json_->is_object()) refuse("an object");
  const auto found = json_->find(std::string(name));
  if (found == json_->end() || found->is_null()) return std::nullopt;
  return below(*found, name);
}

Node Node::member(std::string_view name) const {
  auto found = find(name);
  if (!found) refuse("a member " + std::string(name));
  return *std::move(found);
}

std::optional<Node> Node::findBelow(std::string_view path) const {
  std::optional<Node> at = *this;
  while (at && !path.empty()) {
    const std::string_view step = path.substr(0, path.find('/'));
    path.remove_prefix(std::min(path.size(), step.size() + 1));
    at = at->find(step);
  }
  return at;
}

std::string Node::kind() const {
  if (!json_->is_object() || json_->size() != 1) refuse("an object with one member");
  return json_->begin().key();
}

void Node::eachItem(const std::function<void(const Node&)>& visit) const {
  if (!json_->is_array()) refuse("an array");
  for (std::size_t i = 0; i < json_->size(); ++i) visit(item(i));
}

void Node::eachMember(const std::function<void(const std::string&, const Node&)>& visit) const {
  if (!json_->is_object()) refuse("an object");
  for (auto at = json_->begin(); at != json_->end(); ++at) visit(at.key(), below(*at, at.key()));
}

Node Node::item(std::size_t at) const {
  if (!json_->is_array() || at >= json_->size())
    refuse("an array of " + std::to_string(at + 1) + " items or more");
  return below((*json_)[at], std::to_string(at));
}

Node Node::below(const Json& json, std::string_view step) const {
  std::string pointer = pointer_ + "/";
  for (const char c : step) {
    if (c == '~') pointer += "~0";
    else if (c == '/') pointer += "~1";
    else pointer += c;
  }
  return {json, source_, std::move(pointer)};
}

// ---- Scalars ------------------------------------------------------------------------------------

const std::string& Node::text() const {
  if (!json_->is_string()) refuse("a text");
  return json_->get_ref<const std::string&>();
}

bool Node::boolean() const {
  if (!json_->is_boolean()) refuse("true or false");
  return json_->get<bool>();
}

std::uint32_t Node::number(std::string_view what, std::uint32_t max) const {
  if (!json_->is_number_unsigned() || json_->get<std::uint64_t>() > max) refuse(what);
  return json_->get<std::uint32_t>();
}

Netbase::IpGenAddr Node::address() const {
  const auto address = Netbase::IpGenAddr::fromText(text());
  if (!address || !address->isSet()) refuse("an IP address");
  return *address;
}

Netbase::IpGenPrefix Node::prefix() const {
  const auto prefix = maskedPrefix(text());
  if (!prefix) refuse("an IP prefix");
  return *prefix;
}

void Node::refuse(std::string_view what) const {
  throw InputError(source_ + ": " + Agents::printable(pointer_) + (pointer_.empty() ? "" : ": ") +
                   "expected " + std::string(what) + ", found " + shown(*json_));
}

std::optional<Netbase::IpGenPrefix> maskedPrefix(std::string_view text) {
  const std::size_t slash = text.find('/');
  if (slash == std::string_view::npos) return std::nullopt;
  const auto address = Netbase::IpGenAddr::fromText(text.substr(0, slash));
  const std::string_view digits = text.substr(slash + 1);
  unsigned length = 0;
  const auto [end, error] = std::from_chars(digits.data(), digits.data() + digits.size(), length);
  if (!address || !address->isSet() || error != std::errc() ||
      end != digits.data() + digits.size() || length > address->bits())
    return std::nullopt;
  Netbase::Ip6Addr::Bytes bytes = address->bytes();
  for (unsigned bit = length; bit < address->bits(); ++bit)
    bytes[bit / 8] &= static_cast<std::uint8_t>(~(0x80U >> bit % 8));
  const Netbase::Ip6Addr masked(bytes);
  if (address->isV6()) return Netbase::IpGenPrefix(masked, length);
  return Netbase::IpGenPrefix(Netbase::IpAddr({bytes[0], bytes[1], bytes[2], bytes[3]}), length);
}

}  // namespace Replay
