/// SONiC table files.
#include "agents/routes/SonicFile.h"

#include <gtest/gtest.h>

#include "agents/routes/JsonTree.h"
#include "tests/agents/routes/Texts.h"

namespace {

using namespace StaticRoutes;

std::string route(const std::string& fields, const std::string& label = "100") {
  return R"({"LABEL_ROUTE_TABLE:)" + label + R"(": {)" + fields + R"(}, "OP": "SET"})";
}

const std::string good = route(R"("nexthop": "10.0.0.1", "ifname": "Ethernet0")", "7");

TEST(SonicFileTest, FieldsAreListsSideBySide) {
  check({
      {"[]", {}, {}},
      {"[" + good + "]", {"7: 10.0.0.1 pop dev Ethernet0"}, {}},
      {"[" + route(R"("nexthop":"10.0.0.1,::1,","ifname":"a,,c","mpls_nh":"na,swap201,swap0",
                      "mpls_pop":"1","weight":"1,20,3","blackhole":"false")") +
           "]",
       {"100: none swap 0 dev c x3, 10.0.0.1 pop dev a, ::1 swap 201 x20"},
       {}},
      {"[" + good + R"(, {"LABEL_ROUTE_TABLE:7": {}, "OP": "DEL"},
          {"LABEL_ROUTE_TABLE:8": {}, "OP": "DEL"}])",
       {},
       {}},
      {"[" + good + "," + route(R"("ifname": "b")", "7") + "]", {"7: none pop dev b"}, {}},
      {R"([{"ROUTE_TABLE:1.0.0.0/8": {"mpls_nh": "push5"}, "OP": "SET"},
           {"PORT:Ethernet0": [1], "OP": "SET"}])",
       {},
       {}},
  });
}

TEST(SonicFileTest, InterfacesWithoutMpls) {
  const auto intf = [](const std::string& name, const std::string& mpls) {
    return R"({"INTF_TABLE:)" + name + R"(": {)" + mpls + R"(}, "OP": "SET"},)";
  };
  const std::string off = R"("mpls": "disable")";
  const RouteFile file = routeFileFromText(
      "[" + intf("a", off) + intf("b", off) + intf("c", off) + intf("a", R"("mpls": "enable")") +
          intf("d:10.0.0.1/24", "") + intf("e", R"("mpls": "x")") + intf("a b", off) +
          R"({"INTF_TABLE:b": {}, "OP": "DEL"}])",
      100);
  EXPECT_EQ(file.disabledIntfs, (std::set<Netbase::IntfId>{Netbase::IntfId("c")}));
  EXPECT_EQ(
      errorsOf(file),
      (std::vector<std::string>{
          "F: /5/INTF_TABLE:e/mpls: expected enable or disable, found \"x\"",
          "F: /6/INTF_TABLE:a b: expected an interface name of at most 15 bytes, found \"a b\""}));
}

TEST(SonicFileTest, AFaultyEntryIsRefusedWithItsPointer) {
  const auto refused = [](const std::string& entry, const std::string& error) {
    check({{"[" + entry + "," + good + "]", {"7: 10.0.0.1 pop dev Ethernet0"}, {"F: /0" + error}}});
  };
  const std::string at = "/LABEL_ROUTE_TABLE:100";
  const std::string nh = R"("nexthop": "10.0.0.1", )";
  const auto action = [&](const std::string& item, const std::string& what) {
    refused(route(nh + "\"mpls_nh\": \"" + item + "\""),
            at + "/mpls_nh: expected " + what + ", found \"" + item + "\"");
  };
  action("swap+", "swap and a label from 0 to 1048575");
  action("swap", "swap and a label from 0 to 1048575");
  action("swap1048576", "swap and a label from 0 to 1048575");
  action("swap1/2", "a single label, since a via holds no more");
  action("swap3", "a label that packets carry (to pop, write na)");
  action("push5", "na or swap and a label");
  action("", "na or swap and a label");
  refused(route(nh + R"("weight": "0")"),
          at + "/weight: expected a weight from 1 to 4294967295, found \"0\"");
  refused(route(nh + R"("ifname": "a,b")"),
          at + "/ifname: expected 1 items, one for each next hop, found 2");
  refused(
      route(nh + R"("mpls_pop": "0")"),
      at + "/mpls_pop: expected \"1\", since a via cannot keep the incoming label, found \"0\"");
  refused(route(R"("blackhole": "true")"),
          at + "/blackhole: expected no blackhole, since a route without vias cannot be held, "
               "found \"true\"");
  refused(route(R"("nexthop": "1000002+10.0.0.51")"),
          at + "/nexthop: expected an IPv4 or IPv6 address, found \"1000002+10.0.0.51\"");
  refused(route(R"("nexthop": "")"),
          at + ": expected a gateway or an interface for each next hop, found neither");
  refused(route(R"("nexthop": "10.0.0.1,10.0.0.1")"),
          at + ": expected next hops that differ, found one that stands there twice");
  refused(route(""), at + ": expected nexthop or ifname, found neither");
  refused(route(R"("nexthop": 5)"), at + "/nexthop: expected a string, found a number");
  refused(route(nh + R"("nexthop": "10.0.0.2")"),
          at + "/nexthop: expected each field once, found it twice");
  refused(route(nh + R"("a/b~": "")"),
          at + "/a~1b~0: expected one of nexthop, ifname, mpls_nh, mpls_pop, weight and blackhole, "
               "found \"a/b~\"");
  refused(route(nh + R"("weight": "1")", "1048576"),
          "/LABEL_ROUTE_TABLE:1048576: expected a label from 0 to 1048575, found \"1048576\"");
  refused(R"({"LABEL_ROUTE_TABLE:100": "x", "OP": "SET"})",
          at + ": expected an object of fields, found a string");
  refused(R"({"LABEL_ROUTE_TABLE:100": {}})", ": expected an OP, found none");
  refused(R"({"LABEL_ROUTE_TABLE:100": {}, "OP": "set"})",
          "/OP: expected \"SET\" or \"DEL\", found \"set\"");
  refused(R"({"OP": "SET"})", ": expected a TABLE:KEY, found none");
  refused(R"({"LABEL_ROUTE_TABLE": {}, "OP": "SET"})",
          "/LABEL_ROUTE_TABLE: expected a name like TABLE:KEY, found \"LABEL_ROUTE_TABLE\"");
  refused(R"({"LABEL_ROUTE_TABLE:100": {}, "LABEL_ROUTE_TABLE:100": {}, "OP": "SET"})",
          at + ": expected one entry and OP, found another entry");
  refused("5", ": expected an object, found a number");
}

TEST(SonicFileTest, WhatIsNoTableFileIsRefusedAsAWhole) {
  const auto unusable = [](const std::string& text, const std::string& start) {
    const RouteFile file = routeFileFromText(text, 100);
    EXPECT_TRUE(file.unusable) << text;
    ASSERT_EQ(file.diagnostics.size(), 1u) << text;
    EXPECT_EQ(errorsOf(file)[0].substr(0, start.size()), start) << text;
  };
  unusable("{}", "F: expected a JSON array of table entries, found an object");
  unusable("[", "F:1:2: expected JSON: ");
  unusable("[\n  {\"a\": \"b\",, }\n]", "F:2:13: expected JSON: ");
  unusable("[\"\xff\"]", "F:1:");
  unusable("[1e999]", "F:1:6: expected JSON: number overflow");
  unusable(std::string(100000, '['), "F: expected JSON that is at most 16 arrays and objects deep");
  EXPECT_FALSE(routeFileFromText("[5]", 100).unusable);
}

}  // namespace
