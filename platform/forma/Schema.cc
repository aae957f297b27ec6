#include "platform/forma/Schema.h"

#include <cstdio>
#include <set>
#include <vector>

#include "platform/forma/EntityType.h"

namespace Forma {

namespace {

std::string_view kindName(MemberKind kind) {
  switch (kind) {
    case MemberKind::attribute:
      return "attribute";
    case MemberKind::values:
      return "values";
    case MemberKind::references:
      return "references";
    case MemberKind::reference:
      return "reference";
    case MemberKind::children:
      return "children";
    case MemberKind::child:
      return "child";
    case MemberKind::entries:
      return "entries";
    case MemberKind::table:
      return "table";
  }
  return "";
}

/// Describes each type that it meets once, in the order of meeting.
class Describer {
 public:
  explicit Describer(const TypeRegistry& registry) : registry_(registry) {}

  std::string describe(const EntityType& type) {
    meet(type.name);
    for (std::size_t i = 0; i < met_.size(); ++i) {
      if (const EntityType* entity = i == 0 ? &type : registry_.findEntity(met_[i])) add(*entity);
      else if (const ValueType* value = registry_.findValue(met_[i])) add(*value);
      else text_.append(met_[i]).push_back('\n');
    }
    return std::move(text_);
  }

 private:
  void add(const EntityType& type) {
    text_.append(type.name).append(" entity");
    for (const std::string_view argument : type.arguments) {
      text_.append(", made from ").append(argument);
      meet(argument);
    }
    for (const MemberType& member : type.members) {
      text_.append(", ").append(member.name).append(": ").append(kindName(member.kind));
      text_.append(" [").append(member.keyType).append("] ").append(member.valueType);
      if (member.kind == MemberKind::attribute) addInitial(member);
      meet(member.keyType);
      meet(member.valueType);
    }
    text_.push_back('\n');
  }
  void add(const ValueType& type) {
    text_.append(type.name).append(" value");
    for (const ValueType::Field& field : type.fields) {
      text_.append(", ").append(field.name).append(": ").append(field.type);
      meet(field.type);
    }
    for (const ValueType::Member& member : type.members)
      text_.append(", ").append(member.name).append(" = ").append(std::to_string(member.number));
    text_.push_back('\n');
  }
  /// What is as declared does not travel, so both sides must have declared the same.
  void addInitial(const MemberType& member) {
    std::string bytes;
    member.replica.encodeInitial(bytes);
    text_.append(" = ");
    for (const char byte : bytes) {
      constexpr std::string_view digits = "0123456789abcdef";
      const auto value = static_cast<unsigned char>(byte);
      text_.push_back(digits[value >> 4]);
      text_.push_back(digits[value & 15]);
    }
  }
  void meet(std::string_view name) {
    if (!name.empty() && known_.insert(name).second) met_.push_back(name);
  }

  const TypeRegistry& registry_;
  std::string text_;
  std::set<std::string_view> known_;
  std::vector<std::string_view> met_;
};

}  // namespace

std::string schemaText(const EntityType& type, const TypeRegistry& registry) {
  return Describer(registry).describe(type);
}

std::uint64_t schemaTextHash(std::string_view text) {
  std::uint64_t hash = 0xcbf29ce484222325U;
  for (const char byte : text) hash = (hash ^ static_cast<unsigned char>(byte)) * 0x100000001b3U;
  return hash;
}

std::uint64_t schemaHash(const EntityType& type, const TypeRegistry& registry) {
  return schemaTextHash(schemaText(type, registry));
}

std::string schemaHashText(std::uint64_t hash) {
  char text[17];
  std::snprintf(text, sizeof text, "%016llx", static_cast<unsigned long long>(hash));
  return text;
}

}  // namespace Forma
