#include <gtest/gtest.h>

#include <string>

#include "platform/forma/Assert.h"
#include "platform/forma/Errors.h"
#include "platform/ringtrace/RingTrace.h"

namespace AssertTestTypes {
struct Table {
  template <class T>
  Table& addRow(const char& /*name*/, T* const* /*row*/, bool ok) {
    FORMA_THROW_TEXT(ok, "mpls/Table.cc", "row == expected", std::string("for row 7"));
    return *this;
  }
  static void check(bool ok) { FORMA_ASSERT_TEXT(ok, "ok && fine", "table is not fine"); }
};
namespace {
std::string hidden(const char* /*text*/, bool ok) {
  FORMA_THROW_TEXT(ok, "Hidden.cc", "ok", "");
  return "held";
}
}  // namespace
}  // namespace AssertTestTypes

namespace {

using AssertTestTypes::Table;

template <class F>
std::string textOf(F f) {
  try {
    f();
  } catch (const Forma::InternalException& e) {
    const std::string text = e.what();
    const std::size_t colon = text.find(':');  // the line number is in the way
    return text.substr(0, colon) + text.substr(text.find(' '));
  }
  return "no error";
}

TEST(AssertTest, ThrownTextsAreTheSameUnderAllCompilers) {
  int* row = nullptr;
  EXPECT_EQ(textOf([&] { Table().addRow('a', &row, true); }), "no error");
  EXPECT_EQ(textOf([&] { Table().addRow('a', &row, false); }),
            "Table.cc AssertTestTypes::Table& AssertTestTypes::Table::addRow(const char&, "
            "T* const*, bool) [T = int] -- assertion failed(row == expected):for row 7");
  EXPECT_EQ(textOf([] { AssertTestTypes::hidden("", false); }),
            "Hidden.cc std::string AssertTestTypes::(anonymous namespace)::hidden(const char*, "
            "bool) -- assertion failed(ok):");
}

TEST(AssertTest, TheTextNamesPlaceConditionAndMessage) {
  EXPECT_EQ(Forma::assertionText("/a/b/File.cc", 12, "void f(T *, U &&)", "x < y", "why"),
            "File.cc:12 void f(T*, U&&) -- assertion failed(x < y):why");
}

TEST(AssertDeathTest, AbortsWithTextAndRing) {
  RingTrace::record("seen before the fall ", 42);
  Table::check(true);
  EXPECT_DEATH(Table::check(false),
               "AssertTest.cc:[0-9]+ static void AssertTestTypes::Table::check\\(bool\\) -- "
               "assertion failed\\(ok && fine\\):table is not fine\n(.*\n)*.*"
               "seen before the fall 42");
}

}  // namespace
