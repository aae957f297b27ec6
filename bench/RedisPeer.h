/// Redis as switches use it: one hash is the table, and each change of a row is a HSET and a
/// PUBLISH of its key, pipelined; a subscriber fetches the rows of which it hears by HGET,
/// pipelined too. One server over a Unix socket, nothing on disk.
#pragma once

#include "bench/Chain.h"

namespace Bench {

class RedisChain : public Chain {
 public:
  RedisChain();
};

}  // namespace Bench
