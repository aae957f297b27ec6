/// The files of recorded routers: JSON whose values know where they stand, so that whatever is
/// wrong with one can be told with its file, line and member.
///
/// Thread    any.
#pragma once

#include <cstdint>
#include <functional>
#include <nlohmann/json.hpp>
#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>

#include "platform/netbase/IpGenPrefix.h"
#include "platform/netbase/MplsLabel.h"

namespace Replay {

/// "events.jsonl:12: /Ibus/RouteMplsAdd/label: expected a label, found -1"
struct InputError : std::runtime_error {
  using std::runtime_error::runtime_error;
};

/// One value of a document, which must outlive it. All but the questions raise InputError when the
/// value, or a member that is asked for, is not what is expected.
class Node {
 public:
  /// The whole of a document; `source` is where that stands, "FILE" or "FILE:LINE".
  Node(const nlohmann::json& json, std::string source) : json_(&json), source_(std::move(source)) {}

  const nlohmann::json& json() const { return *json_; }
  bool isObject() const { return json_->is_object(); }
  bool isText() const { return json_->is_string(); }

  // ---- Objects and arrays -----------------------------------------------------------------------

  /// The member of that name, or none; one that is null counts as none.
  std::optional<Node> find(std::string_view name) const;
  Node member(std::string_view name) const;
  /// A member of a member, and so on: "a/b" goes down two steps; none when a step is missing.
  std::optional<Node> findBelow(std::string_view path) const;
  /// Of an object with one member: its name. An event is called so.
  std::string kind() const;
  /// Calls `visit` for each item of an array.
  void eachItem(const std::function<void(const Node& item)>& visit) const;
  /// Calls `visit` for each member of an object, in the order of names.
  void eachMember(
      const std::function<void(const std::string& name, const Node& value)>& visit) const;
  /// The item at that place of an array.
  Node item(std::size_t at) const;

  // ---- Scalars ----------------------------------------------------------------------------------

  const std::string& text() const;
  bool boolean() const;
  /// `what` is what is expected, such as "a label".
  std::uint32_t number(std::string_view what, std::uint32_t max) const;
  /// A real label, 0 to 1048575.
  Netbase::MplsLabel label() const { return number("a label", Netbase::MplsLabel::max); }
  Netbase::IpGenAddr address() const;
  /// The prefix of an address and a length; bits behind the length do not count.
  Netbase::IpGenPrefix prefix() const;

  /// Raises InputError: expected `what`, found this.
  [[noreturn]] void refuse(std::string_view what) const;

 private:
  Node(const nlohmann::json& json, std::string source, std::string pointer)
      : json_(&json), source_(std::move(source)), pointer_(std::move(pointer)) {}
  Node below(const nlohmann::json& json, std::string_view step) const;

  const nlohmann::json* json_;
  std::string source_;
  std::string pointer_;  // RFC 6901
};

/// The address and length that a text gives, with the bits behind the length cleared; none when it
/// is no such text.
std::optional<Netbase::IpGenPrefix> maskedPrefix(std::string_view text);

}  // namespace Replay
