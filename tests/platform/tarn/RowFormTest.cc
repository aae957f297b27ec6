#include "platform/tarn/RowForm.h"

#include <array>
#include <cstring>
#include <vector>

#include "platform/forma/TypeRegistry.h"
#include "tests/platform/tarn/TableTypes.h"
#include "tests/support/Checks.h"

namespace TarnTest {
namespace {

using Bytes = std::vector<std::byte>;
using testing::AllOf;
using testing::HasSubstr;

template <class Row>
Bytes bytesOf(const Row& row) {
  Bytes bytes(Tarn::RowForm<Row>::size(row));
  Tarn::RowForm<Row>::encode(row, bytes.data());
  return bytes;
}
template <class Row>
bool readsBack(const Bytes& bytes, Row* row) {
  return Tarn::RowForm<Row>::decode(bytes.data(), bytes.size(), row);
}
template <class Row>
void expectRoundTrip(const Row& row) {
  using Form = Tarn::RowForm<Row>;
  const Bytes bytes = bytesOf(row);
  Row back;
  EXPECT_TRUE(readsBack(bytes, &back) && back == row) << row;
  Bytes key(Form::keyBytes);
  Form::encodeKey(row.key(), key.data());
  EXPECT_TRUE(std::equal(key.begin(), key.end(), bytes.begin())) << row;
  EXPECT_TRUE(Form::rowBytes == 0 || Form::rowBytes == bytes.size());
  EXPECT_LE(bytes.size(), Form::maxRowBytes);
  for (std::size_t size = 0; size < bytes.size(); ++size)
    EXPECT_FALSE(!Form::isOwn && Form::decode(bytes.data(), size, &back)) << size << " of " << row;
}

MixedRow mixed() {
  MixedRow row;
  row.keyIs({70000, 3});
  row.onIs(true);
  row.colourIs(green());
  row.ratioIs(-0.5);
  row.intfIs(Netbase::IntfId("Ethernet25"));
  row.prefixIs(Netbase::IpGenPrefix("2001:db8::/32"));
  row.addressIs(Netbase::IpGenAddr("10.1.2.3"));
  row.vlanIs(4094);
  row.vrfIs(L3::VrfName("red"));
  row.typeIs(Netbase::IntfId("pw7"));
  return row;
}
ArrayRow arrays(std::uint32_t parts, std::string_view text) {
  ArrayRow row(RowKey(5, 6), text);
  for (std::uint32_t i = 0; i < parts; ++i) row.partIs(i, Part(i % 2 == 0, 16 + i));
  row.betweenIs(-2);
  row.lastIs(true);
  return row;
}

TEST(RowFormTest, EveryShapeReadsBackEqual) {
  expectRoundTrip(PlainRow());
  expectRoundTrip(PlainRow(1, 0xffffffffU));
  expectRoundTrip(MixedRow());
  expectRoundTrip(mixed());
  expectRoundTrip(ArrayRow());
  for (const std::uint32_t parts : {0U, 1U, 9U, 10U}) expectRoundTrip(arrays(parts, "some 'text'"));
  expectRoundTrip(arrays(10, std::string(100, 'x')));
  OwnRow own;
  own.keyIs(77);
  own.numberIs(12345);
  expectRoundTrip(own);
  EXPECT_EQ(bytesOf(own).size(), 4U + 4 + 5);
}

/// What other processes, and other builds, must find.
TEST(RowFormTest, BytesAndTheirDescriptionStayAsTheyAre) {
  EXPECT_EQ(Tarn::RowForm<ArrayRow>::schemaText(),
            "TarnTest::ArrayRow\n"
            "key.number U32 4 @0\n"
            "key.part U8 1 @4\n"
            "part[10] 5 @5\n"
            "part[].on bool 1 @0\n"
            "part[].label Netbase::MplsLabel 4 @1\n"
            "between S16 2 @+0\n"
            "text[100] 1 @+2\n"
            "text[] U8 1 @0\n"
            "last bool 1 @+0\n");
  const unsigned char expected[] = {5, 0,  0, 0, 6, 2,    0,    1, 16, 0,   0,   0,
                                    0, 17, 0, 0, 0, 0xfe, 0xff, 2, 0,  'h', 'i', 1};
  const Bytes bytes = bytesOf(arrays(2, "hi"));
  ASSERT_EQ(bytes.size(), sizeof expected);
  EXPECT_EQ(std::memcmp(bytes.data(), expected, sizeof expected), 0);
  EXPECT_EQ(Tarn::RowForm<MixedRow>::rowBytes, 5U + 1 + 2 + 8 + 16 + 18 + 17 + 2 + 101 + 16);
  EXPECT_THAT(
      Tarn::RowForm<MixedRow>::schemaText(),
      AllOf(HasSubstr("\nratio double 8 @8\n"), HasSubstr("\nintf Netbase::IntfId 16 @16\n"),
            HasSubstr("\ncolour TarnTest::Colour 2 @6\n")));
}

/// Changes bytes of a row to what its functions could not bear: it must read as damaged. To others
/// any value is as good as another.
TEST(RowFormTest, DamagedBytesNeverBecomeARow) {
  struct Damage {
    std::size_t at;
    int byte;
    bool reads = false;
  };
  // on 5, colour 6, ratio 8, intf 16, prefix 32 (family, address, length), address 50, vlan 67,
  // vrf 69, type 170
  for (const Damage damage : {Damage{5, 2, true},
                              {7, 99, true},
                              {15, 255, true},
                              {31, 'x', false},
                              {32, 3, false},
                              {49, 129, false},
                              {49, 128, true},
                              {50, 3, false},
                              {68, 0x10, false},
                              {69, 101, false},
                              {185, 1, false}}) {
    Bytes bytes = bytesOf(mixed());
    bytes[damage.at] = static_cast<std::byte>(damage.byte);
    MixedRow row;
    EXPECT_EQ(readsBack(bytes, &row), damage.reads) << damage.at;
    EXPECT_TRUE(!damage.reads || (row.on() && !valueToStrep(row).empty())) << damage.at;
  }
  ArrayRow row;
  for (const Damage damage : {Damage{5, 11}, {6, 1}, {11, 0xff}, {19, 101}, {19, 1}}) {
    Bytes bytes = bytesOf(arrays(2, "hi"));
    bytes[damage.at] = static_cast<std::byte>(damage.byte);
    EXPECT_FALSE(readsBack(bytes, &row)) << damage.at;
  }
  std::mt19937 random(1);
  std::size_t read = 0;
  for (int i = 0; i < 20000; ++i) {
    Bytes bytes = bytesOf(arrays(static_cast<std::uint32_t>(random() % 11), "text"));
    for (std::size_t n = random() % 4 + 1; n > 0; --n)
      bytes[random() % bytes.size()] = static_cast<std::byte>(random());
    if (!readsBack(bytes, &row)) continue;
    ++read;
    ArrayRow again;
    ASSERT_TRUE(readsBack(bytesOf(row), &again) && again == row) << i;
  }
  EXPECT_GT(read, 100U);
  OwnRow own;
  own.keyIs(77);
  Bytes bytes = bytesOf(own);
  bytes[0] ^= std::byte{1};  // the key under which it is filed is not that of the row
  EXPECT_FALSE(readsBack(bytes, &own));
}

TEST(RowFormTest, RowsWithArraysSerialiseThemselves) {
  const ArrayRow row = arrays(3, "abc");
  Bytes bytes(row.serializeLen() + 5);
  row.serialize(bytes.data());
  EXPECT_EQ(ArrayRow::deserializeLen(bytes.data(), bytes.size()), row.serializeLen());
  EXPECT_EQ(ArrayRow::deserializeLen(bytes.data(), row.serializeLen() - 1), 0U);
  ArrayRow back;
  EXPECT_TRUE(back.deserialize(bytes.data(), row.serializeLen()) && back == row);
  EXPECT_FALSE(back.deserialize(bytes.data(), row.serializeLen() + 1));
}

TEST(BoundedArrayTest, HoldsNoMoreThanItsIndexAllows) {
  ArrayRow row = arrays(2, "t");
  const std::string outside = "PartRange::value < PartRange::min or > PartRange::max not allowed";
  using Range = Forma::RangeException;
  EXPECT_EQ(Checks::raised<Range>([&] { row.part(10); }), outside);
  EXPECT_EQ(Checks::raised<Range>([&] { row.partIs(10, {}); }), outside);
  EXPECT_EQ(Checks::raised<Range>([&] { row.partIs(std::array<Part, 11>{}); }), outside);
  EXPECT_THAT(Checks::raised<Range>([&] { row.partIs(3, {}); }),
              HasSubstr("the next element is 2"));
  EXPECT_EQ(Checks::raised<Range>([&] { row.textTextIs(""); }), "no text");
  EXPECT_EQ(Checks::raised<Range>([&] { ArrayRow().partIs(0, {}); }), "no text");
  EXPECT_TRUE(row == arrays(2, "t"));
  EXPECT_TRUE(row.part(9) == Part());

  std::size_t sum = 0;
  for (const Part& part : row.partIteratorConst()) sum += part.label().value();
  EXPECT_EQ(sum, 16U + 17);
  row.partIs(1, Part(true, 40));
  EXPECT_TRUE(row.parts() == 2 && row.part(1) == Part(true, 40));
  row.partIs(std::vector<Part>{Part(false, 1)});
  EXPECT_EQ(row.parts(), 1U);
  row.partDelAll();
  EXPECT_TRUE(row.parts() == 0 && row.part(0) == Part());
}

TEST(BoundedArrayTest, IsAValueLikeOthers) {
  Forma::TypeRegistry registry;
  using Parts = Forma::BoundedArray<Part, PartRange>;
  registry.add<ArrayRow, RowKey, Part, Parts, Forma::BoundedArray<std::uint8_t, TextRange>>();
  Forma::AnyValue any = registry.newValue("TarnTest::ArrayRow");
  const std::string text =
      "Value('TarnTest::ArrayRow', ** {'key': Value('TarnTest::RowKey', ** {'number': 5, 'part': "
      "6}), 'part': [Value('TarnTest::Part', ** {'on': true, 'label': 16}), "
      "Value('TarnTest::Part', ** {'on': false, 'label': 17})], 'between': -2, 'text': "
      "'a\\'\\x00', 'last': true})";
  any.textIs(text);
  const ArrayRow row = arrays(2, std::string_view("a'\0", 3));
  EXPECT_EQ(any.text(), text);
  EXPECT_TRUE(*static_cast<const ArrayRow*>(any.data()) == row);
  EXPECT_EQ(any.field("part").type().name, "TarnTest::Part[PartRange]");
  Forma::AnyValue copy = registry.newValue("TarnTest::ArrayRow");
  copy.wireIs(any.wire());
  EXPECT_TRUE(copy == any && copy.hash() == any.hash());
  for (const char* bad : {"[1]", "[Value('TarnTest::Part', ** {'on': true, 'label': 16}),]", "["}) {
    Forma::AnyValue part = any.field("part");
    EXPECT_NE(Checks::raised<Forma::ParseException>([&] { part.textIs(bad); }), "nothing") << bad;
    EXPECT_TRUE(part == any.field("part"));
  }
  Forma::AnyValue part = any.field("part");
  std::string wire = part.wire();
  wire[0] = 11;
  EXPECT_THAT(Checks::raised<Forma::ParseException>([&] { part.wireIs(wire); }),
              HasSubstr("a shorter array"));
  Parts one, two;
  one.assign(std::array{Part(false, 2)});
  two.assign(std::array{Part(false, 2), Part(false, 1)});
  EXPECT_TRUE(one < two && one != two && Parts() < one && one.hash() != two.hash());
}

}  // namespace
}  // namespace TarnTest
