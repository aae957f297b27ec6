/// Reading the number of a type that is a bounded number. Private to this folder.
#pragma once

#include <charconv>
#include <cstdint>
#include <limits>
#include <string_view>

#include "platform/forma/Text.h"

namespace Netbase {

/// The decimal number that comes next. One that does not fit becomes the largest: it is beyond
/// the type's bound, and to be refused as such. Raises ParseException when there is no number.
inline std::uint32_t parseNumber(Forma::TextIn& in) {
  const std::string_view text = in.rest();
  std::uint32_t number = 0;
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
  if (error == std::errc::invalid_argument) in.fail("a number");
  in.skip(static_cast<std::size_t>(end - text.data()));
  return error == std::errc{} ? number : std::numeric_limits<std::uint32_t>::max();
}

}  // namespace Netbase
