#include <limits>
#include <sstream>

#include "tests/platform/forma/TestTypes.h"
#include "tests/support/Checks.h"

namespace FormaTest {
namespace {

Sample sampleOf(double gain, Forma::String8 text, std::int32_t low, std::int32_t high) {
  Sample v;
  v.lowIs(low);
  v.highIs(high);
  v.modeIs(slow());
  v.gainIs(gain);
  v.textIs(std::move(text));
  v.onIs(gain > 0);
  v.keyIs(Key(7, "k"));
  return v;
}
template <class T>
std::string wireOf(const T& v) {
  std::string out;
  Forma::encode(out, v);
  return out;
}

/// The error of reading a T with `read`, after a check that the value stayed as it was.
template <class T, class F>
std::string errorOfReading(T v, F read) {
  const T before = v;
  const auto error = Checks::raised<Forma::Exception>([&] { read(v); });
  EXPECT_TRUE(error == "nothing" || v == before) << error;
  return error;
}
template <class T>
std::string textError(const T& was, const std::string& text) {
  return errorOfReading(was, [&](T& v) { Forma::strepToValue(text, &v); });
}
template <class T>
std::string wireError(const T& was, const std::string& bytes) {
  Forma::BytesIn in(bytes);
  return errorOfReading(was, [&](T& v) { Forma::decode(in, v); });
}

template <class T>
void expectRoundTrips(const T& v) {
  T fromText{}, fromWire{};
  Forma::strepToValue(Forma::valueToStrep(v), &fromText);
  const std::string bytes = wireOf(v);
  Forma::BytesIn in(bytes);
  Forma::decode(in, fromWire);
  EXPECT_TRUE(fromText == v && fromWire == v && in.atEnd()) << Forma::valueToStrep(v);
  EXPECT_EQ(Forma::hashOf(fromWire), Forma::hashOf(v));
}

TEST(ValueTest, TextAndWireFormsReadBackEqual) {
  std::string allBytes;
  for (int c = 0; c < 256; ++c) allBytes.push_back(static_cast<char>(c));
  using Limits = std::numeric_limits<double>;
  for (const double gain : {0.0, -0.0, 0.1, -1e300, Limits::denorm_min(), Limits::infinity()})
    expectRoundTrips(sampleOf(gain, allBytes, -5, 5));
  for (const char* text : {"", "', 'on': \\", "})"}) expectRoundTrips(sampleOf(1, text, 0, 0));
}

TEST(ValueTest, TheTextIsARecord) {
  const Sample v = sampleOf(0.5, "it's\n", -1, 2);
  std::ostringstream out;
  out << v << ' ' << slow() << ' ' << v.text();
  EXPECT_EQ(out.str(),
            "Value('FormaTest::Sample', ** {'mode': slow, 'gain': "
            "0.5, 'text': 'it\\'s\\x0a', "
            "'on': true, 'low': -1, 'high': 2, "
            "'key': Value('FormaTest::Key', ** {'number': 7, 'tag': "
            "'k'})}) slow it's\n");
}

TEST(ValueTest, TextErrorsNameThePositionAndWhatWasExpected) {
  const std::string key = "Value('FormaTest::Key', ** {'number': ";
  const struct {
    const char* text;
    const char* expected;
    std::size_t at;
  } cases[] = {
      {"x", "a number", 38},
      {"-1", "a number", 38},
      {"65536", "a smaller number", 38},
      {"1})", "\", 'tag': \"", 39},
      {"1, 'tag': 'a", "a closing quote", 50},
      {"1, 'tag': '\\n", "an escape: \\\\, \\' or \\xNN", 50},
      {"1, 'tag': '\\x4g", "two hexadecimal digits", 50},
      {"1, 'tag': ''}) ", "the end of the text", 52},
  };
  const auto message = [](const std::string& expected, std::size_t at, const std::string& of) {
    return "expected " + expected + " at position " + std::to_string(at) + " of \"" + of + "\"";
  };
  for (const auto& [text, expected, at] : cases)
    EXPECT_EQ(textError(Key(3), key + text), message(expected, at, key + text));
  const std::string longTail = key + "1, 'tag': '" + std::string(100, 'a');
  EXPECT_EQ(textError(Key(3), longTail),
            message("a closing quote", longTail.size(), longTail.substr(0, 60) + "..."));
  EXPECT_EQ(textError(Key(3), key + "1001, 'tag': ''})"), "Key::number > 1000 not allowed");
  EXPECT_EQ(textError(slow(), "slowly"), message("a member of FormaTest::Mode", 0, "slowly"));
  EXPECT_EQ(textError(true, "True"), message("true or false", 0, "True"));
  EXPECT_EQ(textError(1.0, "1e999"), message("a number", 0, "1e999"));
}

TEST(ValueTest, WireErrorsLeaveTheValue) {
  const std::string key = wireOf(Key(258, "ab")), damaged = "message damaged: expected ";
  EXPECT_EQ(key, std::string("\x02\x01\x02\0\0\0ab", 8));
  EXPECT_EQ(wireError(Key(1), key.substr(0, 7)), damaged + "more bytes, 1 bytes before its end");
  EXPECT_EQ(wireError(false, "\2"), damaged + "a bool of 0 or 1, 0 bytes before its end");
  EXPECT_EQ(wireError(slow(), "\2"),
            damaged + "the number of an enumerator, 0 bytes before its end");
  EXPECT_EQ(wireError(Key(1), std::string("\xff\xff\0\0\0\0", 6)),
            "Key::number > 1000 not allowed");
  std::string unset = wireOf(Sample());
  EXPECT_EQ(wireError(sampleOf(1, "", 0, 1), unset), "nothing");
  unset[0] = '\1';  // not the default value any more: the rule low <= high counts
  EXPECT_EQ(wireError(Sample(), unset), "Sample::low > Sample::high not allowed");
}

TEST(ValueTest, SettersHoldTheConstraintOrChangeNothing) {
  Sample v = sampleOf(1, "", 0, 4);
  EXPECT_THROW(v.lowIs(5), Forma::RangeException);
  EXPECT_EQ(v, sampleOf(1, "", 0, 4));
}

TEST(ValueTest, EqualityOrderAndHashFollowTheFields) {
  EXPECT_LT(Key(1, "b"), Key(2, "a"));
  EXPECT_LT(Key(1, "\x7f"), Key(1, "\x80"));  // bytes are unsigned
  EXPECT_NE(Forma::hashOf(Key(1, "a")), Forma::hashOf(Key(1, "b")));
  EXPECT_EQ(sampleOf(0.0, "", 0, 0).hash(), sampleOf(-0.0, "", 0, 0).hash());
  static_assert(reverse() == reverse_ && ModeInstance(1U) == slow());
  EXPECT_EQ(ModeInstance(Forma::stringValue(reverse())), reverse());
  EXPECT_THROW(ModeInstance(5), Forma::RangeException);
  EXPECT_THROW(ModeInstance("slo"), Forma::ParseException);
}

}  // namespace
}  // namespace FormaTest
