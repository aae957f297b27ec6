/// iproute2 commands.
#include "agents/routes/Iproute2File.h"

#include <gtest/gtest.h>

#include "tests/agents/routes/Texts.h"

namespace {

using namespace StaticRoutes;

const std::string add = "ip -f mpls route add ";

TEST(Iproute2FileTest, RoutesOfAllForms) {
  check({
      {add + "200 as 201 via inet 10.0.0.1 dev Ethernet0",
       {"200: 10.0.0.1 swap 201 dev Ethernet0"},
       {}},
      {"ip -M ro add unicast 0x10 as to 010 via inet6 ::1 proto 7", {"16: ::1 swap 8"}, {}},
      {add + "0 via inet 10.0.0.1\n", {"0: 10.0.0.1 pop"}, {}},
      {add + "5 dev lo # pop and look up\n", {"5: none pop dev lo"}, {}},
      {add + "200 as 0 via inet 10.0.0.1 ttl-propagate enabled\n",
       {"200: 10.0.0.1 swap 0 uniform"},
       {}},
      {add + "200 ttl-propagate disabled \\\n\tnexthop as 201 via inet 10.0.0.1 dev a weight "
             "256\\\r\n"
             "  nexthop via inet 10.0.0.5 dev b proto static\n",
       {"200: 10.0.0.1 swap 201 dev a x256 pipe, 10.0.0.5 pop dev b pipe"},
       {}},
  });
}

TEST(Iproute2FileTest, CommandsActOnWhatIsThere) {
  const std::string one = add + "20 as 30 via inet 10.0.0.1\n";
  check({
      {one + "ip -f mpls route replace 20 as 31 via inet 10.0.0.2\n", {"20: 10.0.0.2 swap 31"}, {}},
      {"ip -f mpls route replace 20 as 31 via inet 10.0.0.2\n", {"20: 10.0.0.2 swap 31"}, {}},
      {one + "ip -f mpls route change 20 as 31 via inet 10.0.0.2\n", {"20: 10.0.0.2 swap 31"}, {}},
      {one + "ip -f mpls route append 20 via inet 10.0.0.2\n",
       {"20: 10.0.0.1 swap 30, 10.0.0.2 pop"},
       {}},
      {"ip -f mpls route append 20 dev lo\n", {"20: none pop dev lo"}, {}},
      {one + "ip -f mpls route del 20 via inet 10.0.0.1\n", {}, {}},
      {one + one,
       {"20: 10.0.0.1 swap 30"},
       {"F:2:22: expected a label without a route (this one exists: use replace or append), found "
        "\"20\""}},
      {"ip -f mpls route change 20 dev lo\nip -f mpls route del 21\n",
       {},
       {"F:1:25: expected a label with a route (this one has none), found \"20\"",
        "F:2:22: expected a label with a route (this one has none), found \"21\""}},
      {one + "ip -f mpls route append 20 as 30 via inet 10.0.0.1\n",
       {"20: 10.0.0.1 swap 30"},
       {"F:2:25: expected next hops that the route has not yet, found \"20\""}},
  });
}

TEST(Iproute2FileTest, LinesThatAreNoMplsRoutesArePassedOver) {
  check(
      {{"#!/bin/sh\nmodprobe mpls_router; sysctl -w net.mpls.platform_labels=1000\n"
        "ip link set lo up\nip route add 1.0.0.0/8 encap mpls 201 via inet 10.0.0.1\n"
        "ip -f mpls route show\nip -M route\nip -f inet route add 1.0.0.0/8 dev lo\n" +
            add + "20 dev lo\n",
        {"20: none pop dev lo"},
        {}}});
}

TEST(Iproute2FileTest, AFaultyCommandIsRefusedWithItsPlace) {
  const auto refused = [](const std::string& line, const std::string& place,
                          const std::string& text) {
    check({{"ip link\n" + line, {}, {"F:" + place + ": expected " + text}}});
  };
  const std::string label = "a label from 0 to 1048575, found ";
  refused(add + "1048576 dev lo", "2:22", label + "\"1048576\"");
  refused(add + "08 dev lo", "2:22", label + "\"08\"");
  refused(add + "20 as 0x100000 dev lo", "2:28", label + "\"0x100000\"");
  refused(add + "20 as 30/40 dev lo", "2:28",
          "a single label, since a via holds no more, found \"30/40\"");
  refused(add + "20 as 3 dev lo", "2:28",
          "a label that packets carry (to pop, leave out `as`), found \"3\"");
  refused(add + "20 via 10.0.0.1", "2:29", "inet or inet6, found \"10.0.0.1\"");
  refused(add + "20 via link 00:11:22:33:44:55", "2:29", "inet or inet6, found \"link\"");
  refused(add + "20 via inet ::1", "2:34", "an IPv4 address, found \"::1\"");
  refused(add + "20 \\\n  via inet6 \\\n  10.0.0.1", "4:3", "an IPv6 address, found \"10.0.0.1\"");
  refused(add + "blackhole 20", "2:22",
          "unicast, since a route without vias cannot be held, found \"blackhole\"");
  refused(add + "20", "2:24", "a next hop with via or dev, found neither");
  refused(add + "20 as 30", "2:25", "a next hop with via or dev, found neither");
  refused(add + "20 dev lo weight 2", "2:32", "a weight only after nexthop, found \"weight\"");
  refused(add + "20 nexthop dev lo weight 257", "2:47", "a weight from 1 to 256, found \"257\"");
  refused(add + "20 nexthop dev lo nexthop dev lo", "2:48",
          "a next hop of its own, found one that stands there twice");
  refused(add + "20 dev lo dev lo", "2:32",
          "a word that this next hop does not have yet, found \"dev\"");
  refused(add + "20 dev lo nexthop dev lo", "2:32",
          "proto, ttl-propagate or the end of the line, found \"nexthop\"");
  refused(add + "20 dev abcdefghijklmnop", "2:29",
          "an interface name of at most 15 bytes, found \"abcdefghijklmnop\"");
  refused(add + "20 dev lo onlink", "2:32",
          "as, via, dev, nexthop, weight, proto or ttl-propagate, found \"onlink\"");
  refused(add + "20 ttl-propagate on", "2:39", "enabled or disabled, found \"on\"");
  refused("ip -f mpls route flush", "2:18", "add, replace, change, append or del, found \"flush\"");
  refused("ip -n blue -f mpls route add 20 dev lo", "2:1",
          "a route of this network namespace, found \"ip\"");
  refused("mpls lsp 100 10.0.0.1 200", "2:1",
          "an `ip` command, as in the rest of this file, found \"mpls\"");
  refused("pi -f mpls route add 20 dev lo", "2:1",
          "an `ip` command, as in the rest of this file, found \"pi\"");
}

}  // namespace
