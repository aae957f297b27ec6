/// What the benchmarks of state machines share: passes over many rows, and their memory.
#pragma once

#include <benchmark/benchmark.h>
#include <malloc.h>
#include <unistd.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <fstream>
#include <random>
#include <vector>

namespace Bench {

/// The numbers below n in a random order.
inline std::vector<std::uint32_t> shuffled(std::uint32_t n, unsigned seed) {
  std::vector<std::uint32_t> numbers(n);
  for (std::uint32_t i = 0; i < n; ++i) numbers[i] = i;
  std::shuffle(numbers.begin(), numbers.end(), std::mt19937(seed));
  return numbers;
}

/// Brings forth `result()` again and again, of n rows each; the time to destroy it is left out.
template <class Result>
void measurePasses(benchmark::State& state, std::uint32_t n, Result result) {
  while (state.KeepRunningBatch(n)) {
    auto made = result();
    state.PauseTiming();
    made = {};
    state.ResumeTiming();
  }
}

/// Bytes in use: what the process has mapped, less what malloc holds free.
inline std::size_t memoryInUse() {
  std::size_t pages = 0;
  std::ifstream("/proc/self/statm") >> pages;
  return pages * static_cast<std::size_t>(sysconf(_SC_PAGESIZE)) - mallinfo2().fordblks;
}

}  // namespace Bench
