/// FRR lines, and how formats are told apart.
#include "agents/routes/FrrFile.h"

#include <gtest/gtest.h>

#include "agents/routes/Fields.h"
#include "tests/agents/routes/Texts.h"

namespace {

using namespace StaticRoutes;

TEST(FrrFileTest, LinesWithOneLabelAreTheViasOfOneRoute) {
  check({
      {"", {}, {}},
      {"mpls lsp 100 10.0.0.1 200", {"100: 10.0.0.1 swap 200"}, {}},
      {" mpls\tlsp  16 ::1 1048575 \r\n", {"16: ::1 swap 1048575"}, {}},
      {"mpls lsp 100 10.0.0.1 implicit-null\n", {"100: 10.0.0.1 pop"}, {}},
      {"mpls lsp 100 10.0.0.1 explicit-null\nmpls lsp 100 2001:db8::1 explicit-null\n",
       {"100: 10.0.0.1 swap 0, 2001:db8::1 swap 2"},
       {}},
      {"mpls lsp 100 10.0.0.1 200\nmpls lsp 100 10.0.0.1 201\n", {"100: 10.0.0.1 swap 201"}, {}},
      {"mpls lsp 200 10.0.0.1 20\nmpls lsp 100 10.0.0.1 20\n",
       {"100: 10.0.0.1 swap 20", "200: 10.0.0.1 swap 20"},
       {}},
  });
}

TEST(FrrFileTest, NoRemovesOneViaOrTheRoute) {
  const std::string two = "mpls lsp 100 10.0.0.1 200\nmpls lsp 100 10.0.0.2 200\n";
  check({
      {two + "no mpls lsp 100 10.0.0.1\n", {"100: 10.0.0.2 swap 200"}, {}},
      {two + "no mpls lsp 100 10.0.0.2 200\n", {"100: 10.0.0.1 swap 200"}, {}},
      {two + "no mpls lsp 100\n", {}, {}},
      {two + "no mpls lsp 100 10.0.0.1\nno mpls lsp 100 10.0.0.2\n", {}, {}},
      {"no mpls lsp 100\n", {}, {}},
  });
}

TEST(FrrFileTest, OtherLinesArePassedOver) {
  check(
      {{"! comment\n# mpls lsp x\n\nhostname r1\nip route 1.0.0.0/8 10.0.0.1 label 20/30\n"
        "mpls label bind 1.0.0.0/8 20\ninterface eth0\n mpls enable\nrouter isis 1\n"
        " segment-routing prefix 1.1.1.1/32 index 7\n segment-routing on\nmpls ldp\nexit\n"
        "mpls lsp 100 10.0.0.1 200\n",
        {"100: 10.0.0.1 swap 200"},
        {}}});
}

TEST(FrrFileTest, AFaultyLineIsRefusedWithItsPlaceAndTheOthersAreKept) {
  const std::string in = "an incoming label from 16 to 1048575", good = "mpls lsp 99 1.1.1.1 20\n";
  const std::string out = "an out label from 16 to 1048575, implicit-null or explicit-null";
  const auto refused = [&](const std::string& line, const std::string& place,
                           const std::string& text) {
    check({{good + line, {"99: 1.1.1.1 swap 20"}, {"F:2:" + place + ": expected " + text}}});
  };
  refused("mpls lsp 15 10.0.0.1 200", "10", in + ", found \"15\"");
  refused("mpls lsp 1048576 10.0.0.1 200", "10", in + ", found \"1048576\"");
  refused("  mpls lsp 0x64 10.0.0.1 200", "12", in + ", found \"0x64\"");
  refused("mpls lsp -1 10.0.0.1 200", "10", in + ", found \"-1\"");
  refused("mpls lsp 99999999999 10.0.0.1 200", "10", in + ", found \"99999999999\"");
  refused("mpls lsp 100 10.0.0 200", "14", "an IPv4 or IPv6 gateway, found \"10.0.0\"");
  refused("mpls lsp 100 none 200", "14", "an IPv4 or IPv6 gateway, found \"none\"");
  refused("mpls lsp 100 10.0.0.1 3", "23", out + ", found \"3\"");
  refused("mpls lsp 100 10.0.0.1 Implicit-null", "23", out + ", found \"Implicit-null\"");
  refused("mpls lsp 100 10.0.0.1 20 eth0", "26", "the end of the line, found \"eth0\"");
  refused("mpls lsp", "9", in + ", found the end of the line");
  refused("mpls lsp 100", "13", "a gateway, found the end of the line");
  refused("mpls lsp 100 ::1", "17",
          "an out label, implicit-null or explicit-null, found the end of the line");
  refused("no mpls lsp 99 x", "16", "an IPv4 or IPv6 gateway, found \"x\"");
  refused("mpls lsp \x01\xff 1.1.1.1 20", "10", in + ", found \"\\x01\\xff\"");
  refused("ip -f mpls route add 1 dev lo", "1",
          "an FRR line, as in the rest of this file, found \"ip\"");
  refused("19 as to 20 via inet 1.1.1.1", "1", "an FRR configuration line, found \"19\"");
}

TEST(FrrFileTest, BlocksOfLabelsAreRanges) {
  const RouteFile file = routeFileFromText(
      "mpls label dynamic-block 100 199\nmpls label global-block 16 16\n"
      "router isis 1\n segment-routing global-block 500 599 local-block 600 1048575\n",
      100);
  EXPECT_EQ(errorsOf(file), std::vector<std::string>());
  ASSERT_EQ(file.labelRanges.size(), 4u);
  EXPECT_EQ(file.labelRanges.at("dynamic").range, Mpls::LabelRange(100, 100));
  EXPECT_EQ(file.labelRanges.at("dynamic").place, (Place{1, 26, ""}));
  EXPECT_EQ(file.labelRanges.at("bgp-sr").range, Mpls::LabelRange(16, 1));
  EXPECT_EQ(file.labelRanges.at("isis-sr").range, Mpls::LabelRange(500, 100));
  EXPECT_EQ(file.labelRanges.at("srlb").range, Mpls::LabelRange(600, 1047976));

  const RouteFile none = routeFileFromText(
      "mpls label dynamic-block 20 30\nno mpls label dynamic-block\n"
      "mpls label dynamic-block 15 30\nmpls label global-block 30 29\n"
      "segment-routing global-block 20 30 local 40 50\nmpls label dynamic-block 20\n",
      100);
  EXPECT_TRUE(none.labelRanges.empty());
  EXPECT_EQ(errorsOf(none),
            (std::vector<std::string>{
                "F:3:26: expected a first label from 16 to 1048575, found \"15\"",
                "F:4:28: expected a last label of 30 or more, found \"29\"",
                "F:5:36: expected local-block or the end of the line, found \"local\"",
                "F:6:28: expected the last label, found the end of the line"}));
}

TEST(FrrFileTest, ARouteHoldsAtMost511Vias) {
  std::string text;
  for (int i = 0; i < 512; ++i)
    text +=
        "mpls lsp 100 10.0." + std::to_string(i / 256) + "." + std::to_string(i % 256) + " 20\n";
  const RouteFile file = routeFileFromText(text + "mpls lsp 100 10.0.0.0 21\n", 100);
  EXPECT_EQ(file.routes.begin()->second.size(), 511u);
  EXPECT_EQ(
      errorsOf(file),
      (std::vector<std::string>{"F:512:10: expected a route of at most 511 vias, found \"100\""}));
}

TEST(RouteFileTest, TheContentTellsTheFormat) {
  const std::vector<std::pair<std::string, Format>> cases{
      {"", Format::frr},
      {"\n \t[", Format::sonic},
      {"\xef\xbb\xbf{", Format::sonic},
      {"ip route 1.0.0.0/8 10.0.0.1\nmpls lsp 100 10.0.0.1 200\n", Format::frr},
      {"ip forwarding\nip prefix-list a seq 5 permit any\n", Format::frr},
      {"#!/bin/sh\nset -e\nip link set lo up\n", Format::iproute2},
      {"ip route add 1.0.0.0/8 via 10.0.0.1\n", Format::iproute2},
      {"  ip -M ro\n", Format::iproute2},
      {"mpls lsp x\nip -M ro\n", Format::frr},
  };
  for (const auto& [text, format] : cases) EXPECT_EQ(formatOf(text), format) << text;
}

}  // namespace
