/// The content of entities of any type as text, to compare and to show.
///
/// Thread    that of the entities.
#pragma once

#include <algorithm>
#include <cctype>
#include <iterator>
#include <string>
#include <string_view>
#include <vector>

#include "platform/forma/EntityType.h"

/// Bytes that people can read: others than letters, digits and the like in hexadecimal.
inline std::string readable(std::string_view bytes) {
  static constexpr char digits[] = "0123456789abcdef";
  std::string text;
  for (const char c : bytes) {
    const auto byte = static_cast<unsigned char>(c);
    if (std::isalnum(byte) || c == '_' || c == '/') text.push_back(c);
    else text.append({'%', digits[byte >> 4], digits[byte & 15]});
  }
  return text;
}

/// The key of an element in wire form; empty where a member has no keys.
inline std::string wireKey(const Forma::MemberType& member, const void* key) {
  std::string bytes;
  if (key) member.replica.key->encode(bytes, key);
  return bytes;
}

/// One element of a member: its value in wire form; of an entity its type and the arguments of its
/// constructor.
inline std::string elementText(const Forma::MemberType& member, const void* element) {
  std::string text;
  if (member.replica.value) {
    member.replica.value->encode(text, element);
    return text;
  }
  const auto& entity = *static_cast<const Forma::Entity*>(element);
  text = entity.formaType().name;
  if (member.replica.encodeArguments) member.replica.encodeArguments(entity, text);
  return text;
}

inline void addContentLines(std::vector<std::string>& lines, const std::string& path,
                            const Forma::Entity& entity) {
  for (const Forma::MemberType& member : entity.formaType().members)
    member.each(entity, [&](const void* key, const void* element) {
      std::string place = path + std::string(member.name);
      if (key) place += "[" + readable(wireKey(member, key)) + "]";
      lines.push_back(place + " = " + readable(elementText(member, element)));
      if (!member.replica.value)
        addContentLines(lines, place + ".", *static_cast<const Forma::Entity*>(element));
    });
}

/// All that an entity holds, entries of directories included: a line for each element, sorted.
/// Equal exactly when the content is.
inline std::vector<std::string> contentLines(const Forma::Entity& entity) {
  std::vector<std::string> lines;
  addContentLines(lines, "", entity);
  std::ranges::sort(lines);
  return lines;
}

/// The lines in which the content of two entities differs; empty when it is equal.
inline std::string difference(const Forma::Entity& is, const Forma::Entity& due) {
  const std::vector<std::string> a = contentLines(is), b = contentLines(due);
  std::vector<std::string> lines;
  std::string text;
  std::ranges::set_difference(a, b, std::back_inserter(lines));
  for (const std::string& line : lines) text += "is:  " + line + "\n";
  lines.clear();
  std::ranges::set_difference(b, a, std::back_inserter(lines));
  for (const std::string& line : lines) text += "due: " + line + "\n";
  return text;
}
