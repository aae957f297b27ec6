/// Writes JSON documents member by member: a tree of a million routes would take gigabytes.
#pragma once

#include <nlohmann/json.hpp>
#include <ostream>
#include <string>
#include <string_view>

namespace Agents {

using Json = nlohmann::ordered_json;

/// The text of a document, in one line. Names of files and interfaces may be no UTF-8: such bytes
/// are replaced.
inline std::string jsonText(const Json& json) {
  return json.dump(-1, ' ', false, Json::error_handler_t::replace);
}

class JsonWriter {
 public:
  /// `lines`: each document is one line.
  JsonWriter(std::ostream& out, bool lines) : out_(out), lines_(lines) {}

  void begin() {
    out_ << '{';
    separator_ = "";
  }
  void member(std::string_view name, const Json& json) { memberText(name, jsonText(json)); }
  /// All members of an object.
  void members(const Json& object) {
    for (const auto& [name, json] : object.items()) member(name, json);
  }
  /// An array of what `jsonOf` gives for each of `items`.
  void list(std::string_view name, const auto& items, auto jsonOf) {
    listBegin(name);
    for (const auto& one : items) item(jsonOf(one));
    listEnd();
  }
  /// An array, item by item.
  void listBegin(std::string_view name) {
    memberText(name, "[");
    separator_ = "";
  }
  void item(const Json& json) {
    out_ << separator_ << newline() << jsonText(json);
    separator_ = ",";
  }
  void listEnd() {
    out_ << ']';
    separator_ = ",";
  }
  /// Ends and flushes the document.
  void end() { out_ << newline() << '}' << std::endl; }

 private:
  void memberText(std::string_view name, const std::string& text) {
    out_ << separator_ << newline() << '"' << name << "\":" << text;
    separator_ = ",";
  }
  std::string_view newline() const { return lines_ ? "" : "\n"; }

  std::ostream& out_;
  const bool lines_;
  std::string_view separator_;  // before the next member or item
};

}  // namespace Agents
