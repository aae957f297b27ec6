#include "agents/routes/JsonTree.h"

#include <algorithm>
#include <nlohmann/json.hpp>
#include <utility>

namespace StaticRoutes {

namespace {

using Json = nlohmann::json;
using Kind = JsonTree::Kind;

/// What the JSON parser calls for each piece of the text.
class TreeBuilder : public nlohmann::json_sax<Json> {
 public:
  explicit TreeBuilder(std::string_view text) : text_(text) {}
  JsonTree take() { return std::move(root_); }

  bool null() override { return scalar(Kind::null, "null"); }
  bool boolean(bool v) override { return scalar(Kind::boolean, v ? "true" : "false"); }
  bool number_integer(number_integer_t v) override {
    return scalar(Kind::number, std::to_string(v));
  }
  bool number_unsigned(number_unsigned_t v) override {
    return scalar(Kind::number, std::to_string(v));
  }
  bool number_float(number_float_t, const string_t& v) override { return scalar(Kind::number, v); }
  bool string(string_t& v) override { return scalar(Kind::string, std::move(v)); }
  bool binary(binary_t&) override { return false; }  // not in texts
  bool start_object(std::size_t) override { return start(Kind::object); }
  bool start_array(std::size_t) override { return start(Kind::array); }
  bool end_object() override { return end(); }
  bool end_array() override { return end(); }
  bool key(string_t& v) override {
    name_ = std::move(v);
    return true;
  }
  bool parse_error(std::size_t position, const std::string& token,
                   const nlohmann::detail::exception& problem) override;

 private:
  JsonTree& add(Kind kind);
  bool scalar(Kind kind, std::string text) {
    add(kind).text = std::move(text);
    return true;
  }
  bool start(Kind kind);
  bool end() {
    open_.pop_back();
    return true;
  }

  std::string_view text_;
  JsonTree root_;
  std::vector<JsonTree*> open_;  // a tree grows only below the last of them
  std::string name_;
};

JsonTree& TreeBuilder::add(Kind kind) {
  JsonTree* tree = &root_;
  if (!open_.empty())
    tree = &open_.back()->members.emplace_back(JsonMember{std::exchange(name_, {}), {}}).tree;
  tree->kind = kind;
  return *tree;
}

bool TreeBuilder::start(Kind kind) {
  if (open_.size() == maxJsonDepth)
    throw Refusal{{{}, "expected JSON that is at most 16 arrays and objects deep"}};
  open_.push_back(&add(kind));
  return true;
}

/// `position` counts the bytes read: the last of them is where the parser gave up. Its message ends
/// in "while parsing WHAT - PROBLEM", and may repeat a long text.
bool TreeBuilder::parse_error(std::size_t position, const std::string& /*token*/,
                              const nlohmann::detail::exception& problem) {
  std::string_view what = problem.what();
  for (const std::string_view mark : {" while parsing ", "] "})
    if (const std::size_t found = what.find(mark); found != std::string_view::npos) {
      what.remove_prefix(found + mark.size());
      break;
    }
  what = what.substr(0, 200);
  const std::size_t end = std::clamp<std::size_t>(position, 1, text_.size() + 1);
  throw Refusal{{placeAt(text_, end - 1), "expected JSON: " + printable(what)}};
}

}  // namespace

JsonTree jsonTreeFromText(std::string_view text) {
  TreeBuilder builder(text);
  Json::sax_parse(text.begin(), text.end(), &builder);
  return builder.take();
}

std::string_view nameOf(JsonTree::Kind kind) {
  switch (kind) {
    case Kind::null:
      return "null";
    case Kind::boolean:
      return "a boolean";
    case Kind::number:
      return "a number";
    case Kind::string:
      return "a string";
    case Kind::array:
      return "an array";
    case Kind::object:
      break;
  }
  return "an object";
}

std::string below(std::string_view pointer, std::string_view member) {
  std::string out = std::string(pointer) + "/";
  for (const char c : member) {
    if (c == '~') out += "~0";
    else if (c == '/') out += "~1";
    else out += c;
  }
  return out;
}

}  // namespace StaticRoutes
