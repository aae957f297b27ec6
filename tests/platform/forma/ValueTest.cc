#include <gtest/gtest.h>

#include <limits>
#include <sstream>
#include <string>

#include "tests/platform/forma/TestTypes.h"

namespace FormaTest {
namespace {

Sample sampleOf(Mode mode, double gain, Forma::String8 text, std::int32_t low, std::int32_t high) {
  Sample v;
  v.lowIs(low);
  v.highIs(high);
  v.modeIs(mode);
  v.gainIs(gain);
  v.textIs(std::move(text));
  v.onIs(gain > 0);
  v.keyIs(Key(7, "k"));
  return v;
}

template <class T>
Forma::String8 textOf(const T& v) {
  return Forma::valueToStrep(v);
}
template <class T>
std::string wireOf(const T& v) {
  std::string out;
  Forma::encode(out, v);
  return out;
}

/// Reads `text` as a T; what() of the error, after a check that the value stayed as it was.
template <class T>
std::string parseError(T v, const std::string& text) {
  const T before = v;
  try {
    Forma::strepToValue(text, &v);
  } catch (const Forma::Exception& e) {
    EXPECT_TRUE(v == before) << text;
    return e.what();
  }
  return "no error";
}
template <class T>
std::string decodeError(T v, const std::string& bytes) {
  const T before = v;
  try {
    Forma::BytesIn in(bytes);
    Forma::decode(in, v);
  } catch (const Forma::Exception& e) {
    EXPECT_TRUE(v == before);
    return e.what();
  }
  return "no error";
}

template <class T>
void expectRoundTrips(const T& v) {
  T fromText{}, fromWire{};
  Forma::strepToValue(textOf(v), &fromText);
  EXPECT_EQ(fromText, v) << textOf(v);
  const std::string bytes = wireOf(v);
  Forma::BytesIn in(bytes);
  Forma::decode(in, fromWire);
  EXPECT_TRUE(fromWire == v && in.atEnd()) << textOf(v);
  EXPECT_EQ(Forma::hashOf(fromWire), Forma::hashOf(v));
  for (std::size_t size = 0; size < bytes.size(); ++size)  // every cut is noticed
    EXPECT_NE(decodeError(T{}, bytes.substr(0, size)), "no error") << size;
}

TEST(ValueTest, TextAndWireFormsReadBackEqual) {
  std::string allBytes;
  for (int c = 0; c < 256; ++c) allBytes.push_back(static_cast<char>(c));
  using Limits = std::numeric_limits<double>;
  for (const double gain : {0.0, -0.0, 0.1, -1e300, Limits::denorm_min(), Limits::infinity()}) {
    expectRoundTrips(gain);
    expectRoundTrips(sampleOf(reverse(), gain, allBytes, -5, 5));
  }
  for (const auto& text : {Forma::String8(), Forma::String8("', 'on': \\"), Forma::String8("})")})
    expectRoundTrips(sampleOf(slow(), 1, text, 0, 0));
  expectRoundTrips(std::numeric_limits<std::uint64_t>::max());
  expectRoundTrips(std::numeric_limits<std::int64_t>::min());
  expectRoundTrips(Key());
}

TEST(ValueTest, TheTextIsARecord) {
  const Sample v = sampleOf(slow(), 0.5, "it's\n", -1, 2);
  const std::string text =
      "Value('FormaTest::Sample', ** {'mode': slow, 'gain': 0.5, 'text': 'it\\'s\\x0a', "
      "'on': true, 'low': -1, 'high': 2, "
      "'key': Value('FormaTest::Key', ** {'number': 7, 'tag': 'k'})})";
  EXPECT_EQ(textOf(v), text.c_str());
  std::ostringstream out;
  out << v << ' ' << slow() << ' ' << v.text();
  EXPECT_EQ(out.str(), text + " slow it's\n");
}

TEST(ValueTest, TextErrorsNameThePositionAndWhatWasExpected) {
  const std::string key = "Value('FormaTest::Key', ** {'number': ";
  const Key was(3);
  const auto error = [&](const std::string& text) { return parseError(was, text); };
  const auto at = [](std::size_t n, const std::string& of) {
    return " at position " + std::to_string(n) + " of \"" + of + "\"";
  };
  EXPECT_EQ(error("Key"), "expected \"Value('FormaTest::Key', ** {\"" + at(0, "Key"));
  EXPECT_EQ(error(key + "x"), "expected a number" + at(38, key + "x"));
  EXPECT_EQ(error(key + "-1"), "expected a number" + at(38, key + "-1"));
  EXPECT_EQ(error(key + "65536"), "expected a smaller number" + at(38, key + "65536"));
  EXPECT_EQ(error(key + "1})"), "expected \", 'tag': \"" + at(39, key + "1})"));
  EXPECT_EQ(error(key + "1, 'tag': 'a"), "expected a closing quote" + at(50, key + "1, 'tag': 'a"));
  EXPECT_EQ(error(key + "1, 'tag': '\\n"),
            "expected an escape: \\\\, \\' or \\xNN" + at(50, key + "1, 'tag': '\\n"));
  EXPECT_EQ(error(key + "1, 'tag': '\\x4g"),
            "expected two hexadecimal digits" + at(50, key + "1, 'tag': '\\x4g"));
  EXPECT_EQ(error(key + "1, 'tag': ''}) "),
            "expected the end of the text" + at(52, key + "1, 'tag': ''}) "));
  const std::string longTail = key + "1, 'tag': '" + std::string(100, 'a');
  EXPECT_EQ(error(longTail),
            "expected a closing quote" + at(longTail.size(), longTail.substr(0, 60) + "..."));
  EXPECT_EQ(error(key + "1001, 'tag': ''})"), "Key::number > 1000 not allowed");
  EXPECT_EQ(parseError(slow(), "slowly"), "expected a member of FormaTest::Mode" + at(0, "slowly"));
  EXPECT_EQ(parseError(true, "True"), "expected true or false" + at(0, "True"));
  EXPECT_EQ(parseError(1.0, "1e999"), "expected a number" + at(0, "1e999"));
}

TEST(ValueTest, WireErrorsLeaveTheValue) {
  const std::string key = wireOf(Key(258, "ab"));
  EXPECT_EQ(key, std::string("\x02\x01\x02\0\0\0ab", 8));
  EXPECT_EQ(decodeError(Key(1), std::string("\xff\xff\0\0\0\0", 6)),
            "Key::number > 1000 not allowed");
  EXPECT_EQ(decodeError(Key(1), std::string("\1\0\xff\xff\xff\xff"
                                            "ab",
                                            8)),
            "message damaged: expected more bytes, 2 bytes before its end");
  EXPECT_EQ(decodeError(false, "\2"),
            "message damaged: expected a bool of 0 or 1, 0 bytes before its end");
  EXPECT_EQ(decodeError(slow(), "\2"),
            "message damaged: expected the number of an enumerator, 0 bytes before its end");
  EXPECT_EQ(decodeError(sampleOf(slow(), 1, "", 0, 1), wireOf(Sample())), "no error");
  std::string bad = wireOf(Sample());
  bad[0] = '\1';  // not the default value any more: the rule low <= high counts
  EXPECT_EQ(decodeError(Sample(), bad), "Sample::low > Sample::high not allowed");
}

TEST(ValueTest, SettersHoldTheConstraintOrChangeNothing) {
  Sample v = sampleOf(slow(), 1, "", 0, 4);
  EXPECT_THROW(v.lowIs(5), Forma::RangeException);
  EXPECT_THROW(v.highIs(-1), Forma::RangeException);
  EXPECT_EQ(v, sampleOf(slow(), 1, "", 0, 4));
  EXPECT_THROW(Key(1001), Forma::RangeException);
}

TEST(ValueTest, EqualityOrderAndHashFollowTheFields) {
  EXPECT_LT(Key(1, "b"), Key(2, "a"));
  EXPECT_LT(Key(1, "a"), Key(1, "a\x80"));  // bytes are unsigned
  EXPECT_LT(Key(1, "\x7f"), Key(1, "\x80"));
  EXPECT_NE(Forma::hashOf(Key(1, "a")), Forma::hashOf(Key(1, "b")));
  EXPECT_EQ(sampleOf(slow(), 0.0, "", 0, 0).hash(), sampleOf(slow(), -0.0, "", 0, 0).hash());
}

TEST(ValueTest, EnumeratorsByNumberAndName) {
  static_assert(reverse() == reverse_ && ModeInstance(1U) == slow());
  EXPECT_EQ(ModeInstance("reverse"), reverse());
  EXPECT_EQ(Forma::stringValue(reverse()), "reverse");
  EXPECT_THROW(ModeInstance(5), Forma::RangeException);
  EXPECT_THROW(ModeInstance("slo"), Forma::ParseException);
}

}  // namespace
}  // namespace FormaTest
