#include "platform/forma/Assert.h"

#include "platform/ringtrace/RingTrace.h"
#include "tests/platform/forma/TestTypes.h"
#include "tests/support/Checks.h"

namespace AssertTestTypes {
namespace {

struct Table {
  template <class T>
  void addRow(const char& /*name*/, T* const* /*row*/, bool ok) {
    FORMA_THROW_TEXT(ok, "mpls/Table.cc", "row == expected", std::string("for row 7"));
  }
};

TEST(AssertTest, ThrownTextsAreTheSameUnderAllCompilers) {
  const auto text = [row = static_cast<int*>(nullptr)](bool ok) {
    return Checks::raised<Forma::InternalException>([&] { Table().addRow('a', &row, ok); });
  };
  EXPECT_EQ(text(true), "nothing");
  EXPECT_THAT(text(false),
              testing::MatchesRegex("Table.cc:[0-9]+ void AssertTestTypes::\\(anonymous "
                                    "namespace\\)::Table::addRow\\(const "
                                    "char&, T\\* const\\*, bool\\) \\[T = int\\] -- assertion "
                                    "failed\\(row == expected\\): for "
                                    "row 7"));
  EXPECT_EQ(RingTrace::messages().back().text, "assertion failed(row == expected): for row 7");
  EXPECT_EQ(Forma::assertionText("/a/b/File.cc", 12, "T f(T *, U &&) [with T = int; U = int]", "x",
                                 "why"),
            "File.cc:12 T f(T*, U&&) [T = int, U = int] -- assertion failed(x): why");
}

TEST(AssertDeathTest, AbortsWithTextAndRing) {
  RingTrace::record("seen before the fall ", 42);
  const auto check = [](bool ok) { FORMA_ASSERT_TEXT(ok, "ok && fine", "is not fine"); };
  check(true);
  EXPECT_DEATH(check(false),
               "AssertTest.cc:[0-9]+ .* -- assertion failed\\(ok "
               "&& fine\\): is not fine\n(.*\n)*.*"
               "seen before the fall 42");
}

}  // namespace
}  // namespace AssertTestTypes
