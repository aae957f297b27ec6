/// Rows about the time from a change to its reader, for any Chain.
#pragma once

#include <algorithm>
#include <cstdint>
#include <string>

#include "bench/Chain.h"
#include "bench/Figures.h"

namespace Bench {

/// Nanoseconds of a row, in bursts.
struct Rate {
  double insert = 0;
  double change = 0;
};

/// A table of `rows` rows is filled, and then changed a few times.
template <class Way>
Rate measureRate(std::uint32_t rows) {
  constexpr std::uint32_t leastChanges = 100'000;
  Way chain;
  Rate rate;
  rate.insert = chain.write(rows);
  const std::uint32_t bursts = std::max(1U, leastChanges / rows);
  for (std::uint32_t i = 0; i < bursts; ++i) rate.change += chain.write(rows) / bursts;
  return rate;
}

template <class Way>
void addRates(const std::string& group, const std::string& who, std::uint32_t rows) {
  const auto rates = series<Rate>([=] { return measureRate<Way>(rows); });
  const std::string end = '/' + who + '/' + std::to_string(rows);
  addFigure(group + "insert" + end, rates, &Rate::insert);
  addFigure(group + "change" + end, rates, &Rate::change);
}

template <class Way>
void addLatencies(const std::string& group, const std::string& who) {
  const auto latencies = series<Latency>([] {
    constexpr std::uint32_t changes = 1'500;
    Way chain;
    chain.write(changes);
    return chain.pace(changes);
  });
  addFigure(group + "median/" + who + "/1000", latencies, &Latency::median);
  addFigure(group + "p99/" + who + "/1000", latencies, &Latency::p99);
}

}  // namespace Bench
