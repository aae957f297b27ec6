/// Output that is written by another thread.
#include <gtest/gtest.h>

#include <iostream>
#include <sstream>
#include <string>

#include "tools/mplsctl/BackgroundWriter.h"

namespace {

using namespace MplsCtl;

/// Takes the place of the standard output.
class BackgroundWriterTest : public testing::Test {
 protected:
  BackgroundWriterTest() : before_(std::cout.rdbuf(&out)), exceptions_(std::cout.exceptions()) {
    std::cout.exceptions(std::ios::badbit | std::ios::failbit);
  }
  ~BackgroundWriterTest() override {
    std::cout.clear();
    std::cout.exceptions(exceptions_);
    std::cout.rdbuf(before_);
  }

  /// Refuses what comes when it holds `room` bytes.
  struct Buffer : std::stringbuf {
    std::size_t room = static_cast<std::size_t>(-1);
    std::streamsize xsputn(const char* bytes, std::streamsize count) override {
      if (static_cast<std::size_t>(count) > room) return 0;
      room -= static_cast<std::size_t>(count);
      return std::stringbuf::xsputn(bytes, count);
    }
  };
  Buffer out;

 private:
  std::streambuf* const before_;
  const std::ios::iostate exceptions_;
};

std::string lineOf(int number) {
  return std::string(static_cast<std::size_t>(number % 97), '.') + std::to_string(number) + "\n";
}

TEST_F(BackgroundWriterTest, AllIsWrittenInOrderByTheTimeThatIsWaitedFor) {
  std::string expected;
  BackgroundWriter writer;
  Text text;
  for (int i = 0; i < 5000; ++i) {
    text += lineOf(i);
    expected += lineOf(i);
    if (i % 3 != 0) continue;
    writer.write(text);
    EXPECT_TRUE(text.empty());
  }
  writer.write(text);
  writer.wait();
  EXPECT_EQ(out.str(), expected);
}

TEST_F(BackgroundWriterTest, WhatCannotBeWrittenIsRaisedByALaterCallAndStopsNobodyFromEnding) {
  out.room = 1000;
  Text text;
  {
    BackgroundWriter writer;
    const auto writeALot = [&] {
      for (int i = 0; i < 1000; ++i) {
        text += lineOf(i);
        writer.write(text);
      }
      writer.wait();
    };
    EXPECT_THROW(writeALot(), std::ios::failure);
  }
  EXPECT_LE(out.str().size(), 1000U);
  EXPECT_EQ(out.str().rfind(lineOf(0) + lineOf(1), 0), 0U);
}

}  // namespace
