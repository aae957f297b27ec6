/// OVSDB: one table with a key and five integers a row, written by transactions of a hundred rows
/// (of one row at a pace), and followed by a client that monitors it. The server is ovsdb-server
/// over a Unix socket, its file in memory; the clients write and scan their JSON by hand.
#pragma once

#include "bench/Chain.h"

namespace Bench {

class OvsdbChain : public Chain {
 public:
  OvsdbChain();
};

}  // namespace Bench
