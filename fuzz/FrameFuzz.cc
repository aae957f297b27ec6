// Bytes of a connection, cut into pieces as the first byte says.
//
// What is read must be, written again, the bytes that it was read from, however they were cut; and
// what is refused stays refused.

#include <algorithm>
#include <cstring>
#include <string>

#include "fuzz/Check.h"
#include "platform/centrum/Protocol.h"

namespace {

using Forma::ParseException;

/// Adds all messages that are whole to `out`; false when one was refused.
bool readAll(Centrum::FrameReader& reader, std::string& out) {
  Centrum::Message::Any message;
  const auto read = [&] {
    while (reader.next(message)) Centrum::appendFrame(out, message);
  };
  if (accepted<ParseException>(read)) return true;
  require(!accepted<ParseException>(read));
  return false;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  if (size == 0) return 0;
  const std::string_view input = textOf(data + 1, size - 1);
  const std::size_t step = data[0];
  Centrum::FrameReader reader;
  std::string out;
  for (std::size_t at = 0, count = 0; at < input.size(); at += count) {
    count = std::min(1 + at * step % 251, input.size() - at);
    std::memcpy(reader.room(count + step % 3), input.data() + at, count);
    reader.added(count);
    const bool whole = readAll(reader, out);
    require(input.starts_with(out));
    if (!whole) return 0;
    require(out.size() + reader.pending() == at + count);
  }
  return 0;
}
