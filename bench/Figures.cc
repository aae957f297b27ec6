#include "bench/Figures.h"

#include <benchmark/benchmark.h>

#include <exception>

namespace Bench {

void addFigure(const std::string& name, std::function<double(std::size_t)> figure, Unit unit,
               int repetitions) {
  const auto measure = [figure = std::move(figure), unit,
                        repetition = std::size_t{0}](benchmark::State& state) mutable {
    for (auto _ : state) {
      try {
        const double value = figure(repetition++);
        state.SetIterationTime(unit == Unit::nanoseconds ? value * 1e-9 : 0);
        if (unit == Unit::bytes) state.counters["bytes"] = value;
      } catch (const std::exception& problem) {
        state.SkipWithError(problem.what());
        break;
      }
    }
  };
  benchmark::RegisterBenchmark(name.c_str(), measure)
      ->Iterations(1)
      ->Repetitions(repetitions)
      ->UseManualTime();
}

}  // namespace Bench
