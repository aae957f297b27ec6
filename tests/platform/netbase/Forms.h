/// What the tests of the networking types share: the forms of a value, and the order of values.
#pragma once

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <initializer_list>
#include <string>
#include <string_view>
#include <vector>

#include "platform/netbase/IpGenPrefix.h"

namespace Netbase {

using Forma::ParseException;
using Forma::RangeException;
using Forma::String8;

template <class T>
std::string textOf(const T& v) {
  return std::string(Forma::valueToStrep(v).view());
}

template <class T>
T parsed(std::string_view text) {
  T v{};
  Forma::strepToValue(String8(text), &v);
  return v;
}

template <class T>
T decoded(std::string_view bytes) {
  T v{};
  Forma::BytesIn in(bytes);
  Forma::decode(in, v);
  if (!in.atEnd()) in.fail("the end");
  return v;
}

/// The value prints as `text`, has `wire` as its wire form, and comes back from both.
template <class T>
void expectForms(const T& v, std::string_view text, std::string_view wire) {
  std::string bytes;
  Forma::encode(bytes, v);
  EXPECT_EQ(bytes, wire) << text;
  EXPECT_EQ(decoded<T>(wire), v) << text;
  EXPECT_EQ(textOf(v), text);
  EXPECT_EQ(parsed<T>(text), v) << text;
}

/// Each text is refused, and the value that was to be assigned keeps `before`.
template <class T>
void expectRefused(const T& before, std::initializer_list<std::string_view> texts) {
  for (const std::string_view text : texts) {
    T v = before;
    EXPECT_THROW(Forma::strepToValue(String8(text), &v), Forma::Exception) << text;
    EXPECT_EQ(v, before) << text;
  }
}

template <class Call>
void expectRangeError(Call call, const std::string& message) {
  EXPECT_THAT(call, testing::ThrowsMessage<RangeException>(testing::StrEq(message)));
}

/// The values stand in ascending order: every comparison of every two agrees with their places.
template <class T>
void expectOrder(const std::vector<T>& values) {
  for (std::size_t a = 0; a < values.size(); ++a)
    for (std::size_t b = 0; b < values.size(); ++b) {
      EXPECT_EQ(values[a] <=> values[b], a <=> b) << values[a] << ' ' << values[b];
      EXPECT_EQ(values[a] == values[b], a == b) << values[a] << ' ' << values[b];
      EXPECT_EQ(values[a].hash() == values[b].hash(), a == b) << values[a] << ' ' << values[b];
    }
}

}  // namespace Netbase
