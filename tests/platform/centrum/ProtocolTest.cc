#include "platform/centrum/Protocol.h"

#include <gmock/gmock.h>
#include <malloc.h>

#include <cstring>
#include <limits>
#include <vector>

#include "platform/forma/Errors.h"
#include "tests/support/Checks.h"

namespace Centrum {
namespace {

using namespace std::string_literals;
using Message::Any;

/// One of each, no field at its default.
const std::vector<Any> samples{
    Message::Hello{7, "agent"},
    Message::Mount{1, "a/b", "Mpls::Lfib", 0x1122334455667788, 2, 3, 4, 5},
    Message::Unmount{6},
    Message::Batch{7, 8, true, true, "records"},
    Message::Remove{9},
    Message::Beat{10},
    Message::Welcome{2, 11, 12},
    Message::Mounted{13, 4, 14, 15, true, "why"},
    Message::Delta{16, true, true, "changes"},
    Message::Mark{17, true},
    Message::Owner{18, true, 1.5, "x (pid 1, uid 0)"},
    Message::Removed{19},
    Message::Ack{20, 21},
    Message::Bye{"done"}};

std::string framed(const Any& message) {
  std::string out;
  appendFrame(out, message);
  return out;
}

/// A frame of these bytes.
std::string frameOf(std::string_view body) {
  std::string out;
  Forma::encode(out, static_cast<std::uint32_t>(body.size()));
  return out.append(body);
}

void feed(FrameReader& reader, std::string_view bytes) {
  std::memcpy(reader.room(bytes.size()), bytes.data(), bytes.size());
  reader.added(bytes.size());
}

/// What reading a frame raises.
std::string problem(const std::string& bytes) {
  return Checks::raised<Forma::ParseException>([&] {
    FrameReader reader;
    feed(reader, bytes);
    Any out;
    while (reader.next(out)) {
    }
  });
}

TEST(ProtocolTest, EveryMessageArrivesWhereverItIsCut) {
  std::string all;
  for (const Any& message : samples) appendFrame(all, message);
  for (std::size_t cut = 0; cut <= all.size(); ++cut) {
    FrameReader reader;
    std::string back;
    Any out;
    for (const std::string_view piece : {all.substr(0, cut), all.substr(cut)}) {
      feed(reader, piece);
      while (reader.next(out)) {
        EXPECT_EQ(framed(out), framed(samples[out.index()]));
        appendFrame(back, out);
      }
    }
    EXPECT_EQ(back, all);
    EXPECT_EQ(reader.pending(), 0U);
  }
}

TEST(ProtocolTest, TheWireFormIsWhatOtherVersionsExpect) {
  EXPECT_EQ(framed(Message::Batch{0x01020304, 5, true, false, "r"}),
            "\x10\0\0\0\x04\x04\x03\x02\x01\x05\0\0\0\0\0\0\0\x01\0r"s);
  EXPECT_EQ(framed(Message::Mounted{1, 4, 2, 3, true, "t", 6}),
            "\x20\0\0\0\x08\1\0\0\0\4\2\0\0\0\3\0\0\0\0\0\0\0\1\1\0\0\0t"
            "\6\0\0\0\0\0\0\0"s);
  EXPECT_EQ(framed(Message::Bye{"x"}), "\6\0\0\0\x0e\1\0\0\0x"s);
}

TEST(ProtocolTest, LongRecordsGoOnInFurtherFramesAndTheMemoryGoesBack) {
  std::string records(2 * frameLimit + 12345, '\0');
  for (std::size_t i = 0; i < records.size(); ++i) records[i] = static_cast<char>(i * i >> 5);
  for (const bool more : {false, true}) {
    const std::string bytes = framed(Message::Batch{1, 2, more, true, records}) +
                              framed(Message::Delta{3, true, more, records});
    FrameReader reader;
    std::vector<std::string> flags(2);
    std::vector<std::string> got(2);
    Any out;
    for (std::size_t at = 0; at < bytes.size(); at += 50000) {
      feed(reader, std::string_view(bytes).substr(at, 50000));
      while (reader.next(out)) {
        if (const auto* batch = std::get_if<Message::Batch>(&out)) {
          flags[0] += {batch->more ? 'm' : '-', batch->renew ? 'r' : '-'};
          got[0] += batch->records;
        } else {
          const auto& delta = std::get<Message::Delta>(out);
          flags[1] += {delta.begin ? 'b' : '-', delta.end ? 'e' : '-'};
          got[1] += delta.records;
        }
      }
    }
    EXPECT_TRUE(got[0] == records && got[1] == records);
    EXPECT_EQ(flags[0], more ? "mrmrmr" : "mrmr-r");
    EXPECT_EQ(flags[1], more ? "b----e" : "b-----");
    EXPECT_EQ(reader.pending(), 0U);
    EXPECT_LT(malloc_usable_size(reader.room(100)), 100'000U);
  }
}

TEST(ProtocolTest, EveryDamageIsRefusedWithItsReason) {
  for (const Any& message : samples) {
    const std::string body = framed(message).substr(4);
    const bool open = message.index() == 3 || message.index() == 8;  // records take any bytes
    const std::size_t fields = open ? body.size() - 7 : body.size();
    for (std::size_t size = 1; size < fields; ++size)
      EXPECT_NE(problem(frameOf(body.substr(0, size))), "nothing") << body << " cut to " << size;
    EXPECT_EQ(problem(frameOf(body + '\0')) == "nothing", open) << body;
  }
  const double nan = std::numeric_limits<double>::quiet_NaN();
  const std::vector<std::pair<std::string, std::string>> refused{
      {"\0\0\0\0"s, "frame of no bytes"},
      {"\1\0\x10\0"s, "frame of 1048577 bytes, more than 1048576"},
      {"\xff\xff\xff\xff"s, "frame of 4294967295 bytes, more than 1048576"},
      {frameOf("\0"s), "frame of unknown kind 0"},
      {frameOf("\x0f"s), "frame of unknown kind 15"},
      {frameOf("\x0e\xff\xff\xff\xffx"s), "Bye frame: .*expected more bytes.*"},
      {frameOf("\x0a\0\0\0\0\0\0\0\0\2"s), "Mark frame: .*expected a bool of 0 or 1.*"},
      {framed(Message::Mount{1, "a", "T", 1, 3, 1, 0, 0}), "Mount .*a mount mode of 0 to 2.*"},
      {framed(Message::Mount{1, "a", "T", 1, 0, 0, 0, 0}), "Mount .*an instance other than 0.*"},
      {framed(Message::Batch{1, 0, false, false, ""}), "Batch .*a batch number of 1 or more.*"},
      {framed(Message::Mounted{1, 5, 1, 0, false, ""}), "Mounted .*a mount status of 0 to 4.*"},
      {framed(Message::Owner{1, false, -1, ""}), "Owner .*an age of 0 or more seconds.*"},
      {framed(Message::Owner{1, false, nan, ""}), "Owner .*an age of 0 or more seconds.*"},
      {framed(Message::Beat{1}) + frameOf("\x06"s), "Beat frame: .*expected more bytes.*"}};
  for (const auto& [bytes, text] : refused)
    EXPECT_THAT(problem(bytes), testing::MatchesRegex(text));
}

TEST(ProtocolTest, WhatFitsNoFrameIsNotWritten) {
  std::string out = "before";
  EXPECT_EQ(Checks::raised([&] { appendFrame(out, Message::Bye{std::string(frameLimit, 'x')}); }),
            "Bye frame: 1048581 bytes, more than 1048576");
  EXPECT_EQ(out, "before");
  EXPECT_EQ(framed(Message::Bye{std::string(frameLimit - 5, 'x')}).size(), 4 + frameLimit);
}

}  // namespace
}  // namespace Centrum
