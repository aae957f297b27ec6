/// A JSON document as it stands: members in their order, repeated names included, numbers as text.
/// What usual trees drop is what a diagnostic is about.
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "agents/routes/Diagnostic.h"

namespace StaticRoutes {

struct JsonMember;

struct JsonTree {
  enum class Kind { null, boolean, number, string, array, object };

  Kind kind = Kind::null;
  std::string text;                 ///< of a string, a number or a boolean
  std::vector<JsonMember> members;  ///< of an object; of an array, with empty names
};

struct JsonMember {
  std::string name;
  JsonTree tree;
};

/// How deep arrays and objects may lie in each other.
constexpr std::size_t maxJsonDepth = 16;

/// Reads a document; raises Refusal, with line and column, when it is no JSON or too deep.
JsonTree jsonTreeFromText(std::string_view text);

/// "an array", "a string" and so on.
std::string_view nameOf(JsonTree::Kind kind);

/// `pointer` and a member below it, escaped by RFC 6901.
std::string below(std::string_view pointer, std::string_view member);

}  // namespace StaticRoutes
