/// Text and wire form of ordered maps, for value types that are made of one.
///
/// Text      `{KEY: VALUE, KEY: VALUE}`, in key order; any order is read.
/// Wire      the number of elements (32 bits), then key and value of each.
/// Errors    ParseException, also when a key stands there twice.
/// Thread    any.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <utility>

#include "platform/forma/OrderedMap.h"
#include "platform/forma/Text.h"
#include "platform/forma/Wire.h"

namespace Forma {

template <class K, class V>
void printMap(std::string& out, const OrderedMap<K, V>& map) {
  std::string_view separator = "{";
  map.forEach([&](const K& key, const V& value) {
    out.append(std::exchange(separator, ", "));
    print(out, key);
    out.append(": ");
    print(out, value);
  });
  out.append(map.empty() ? "{}" : "}");
}

template <class K, class V>
void parseMap(TextIn& in, OrderedMap<K, V>& map) {
  OrderedMap<K, V> next;
  in.take("{");
  while (!in.tryTake("}")) {
    if (!next.empty()) in.take(", ");
    K key;
    V value{};
    parse(in, key);
    in.take(": ");
    parse(in, value);
    if (!next.insert(std::move(key), std::move(value)).second) in.fail("each key once");
  }
  map = std::move(next);
}

template <class K, class V>
void encodeMap(std::string& out, const OrderedMap<K, V>& map) {
  encode(out, static_cast<std::uint32_t>(map.size()));
  map.forEach([&](const K& key, const V& value) {
    encode(out, key);
    encode(out, value);
  });
}

template <class K, class V>
void decodeMap(BytesIn& in, OrderedMap<K, V>& map) {
  OrderedMap<K, V> next;
  std::uint32_t count = 0;
  decode(in, count);
  if (count > in.rest().size()) in.fail("no more elements than bytes");
  while (count-- > 0) {
    K key;
    V value{};
    decode(in, key);
    decode(in, value);
    if (!next.insert(std::move(key), std::move(value)).second) in.fail("each key once");
  }
  map = std::move(next);
}

}  // namespace Forma
