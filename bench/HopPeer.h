/// The floor of replication: messages of 64 bytes that pass three processes over raw Unix stream
/// sockets and epoll, and are neither kept nor looked up.
#pragma once

#include <array>

#include "bench/Chain.h"

namespace Bench {

class HopChain : public Chain {
 public:
  HopChain();
  ~HopChain() override;

 private:
  std::array<int, 2> first_;
  std::array<int, 2> second_;
};

/// The same from one process to the other, without a third in between.
class PingChain : public Chain {
 public:
  PingChain();
  ~PingChain() override;

 private:
  std::array<int, 2> ends_;
};

}  // namespace Bench
