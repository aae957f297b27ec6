#include "bench/Chain.h"

#include <algorithm>
#include <numeric>
#include <random>
#include <stdexcept>

namespace Bench {
namespace {

double percentile(std::vector<double>& times, std::size_t percent) {
  if (times.empty()) return 0;
  const auto at = times.begin() + static_cast<std::ptrdiff_t>(times.size() * percent / 100);
  std::nth_element(times.begin(), at, times.end());
  return *at;
}

}  // namespace

std::vector<std::uint32_t> shuffledKeys(std::uint32_t count, std::uint64_t generation) {
  std::vector<std::uint32_t> keys(count);
  std::iota(keys.begin(), keys.end(), 0U);
  std::shuffle(keys.begin(), keys.end(), std::mt19937_64(generation));
  return keys;
}

void Tally::expect(const Command& command) {
  task_ = command;
  heard_ = 0;
  end_ = 0;
  times_.clear();
  keys_.assign(command.count, false);
}

void Tally::heard(RowKey key, std::uint64_t generation, std::uint64_t stamp) {
  if (task_.what == paceTask) times_.push_back(static_cast<double>(now() - stamp));
  if (key >= keys_.size() || generation != task_.generation || keys_[key])
    throw std::runtime_error("the reader heard of key " + std::to_string(key) + ", generation " +
                             std::to_string(generation) + ", out of turn");
  keys_[key] = true;
  if (++heard_ == task_.count) end_ = now();
}

Answer Tally::answer() {
  return {static_cast<double>(end_), percentile(times_, 50), percentile(times_, 99)};
}

double Chain::write(std::uint32_t count) {
  const Command task{writeTask, count, ++generation_};
  reader_->post(task);
  writer_->post(task);
  const double begin = writer_->wait()[0];
  return (reader_->wait()[0] - begin) / count;
}

Latency Chain::pace(std::uint32_t count) {
  const Command task{paceTask, count, ++generation_};
  reader_->post(task);
  writer_->call(task);
  const Answer heard = reader_->wait();
  return {heard[1], heard[2]};
}

}  // namespace Bench
