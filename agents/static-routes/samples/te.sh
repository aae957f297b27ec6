#!/bin/sh
# The traffic engineering source: iproute2 commands.
sysctl -w net.mpls.platform_labels=1048575

# A shift of load: three parts over eth0, one over eth1.
ip -f mpls route add 110 \
  nexthop as 210 via inet 198.51.100.1 dev eth0 weight 3 \
  nexthop as 211 via inet 198.51.100.5 dev eth1 weight 1
ip -f mpls route add 111 as to 0x200 via inet6 2001:db8:7::1 dev eth0 ttl-propagate disabled
ip -M route add 112 dev lo

# Claimed by the static source, too.
ip -f mpls route add 300 as 320 via inet 198.51.100.1 dev eth0

# Tried, then taken back.
ip -f mpls route add 120 as 220 via inet 198.51.100.9
ip -f mpls route del 120
