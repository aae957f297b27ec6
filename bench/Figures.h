/// Rows whose figures are measured as a whole, by processes of their own, instead of by repeating
/// an operation in this one.
///
/// Thread    the benchmark's only one.
#pragma once

#include <cstddef>
#include <functional>
#include <memory>
#include <string>
#include <utility>
#include <vector>

namespace Bench {

/// A measurement that yields several figures: those of one repetition are taken together.
template <class Result>
class Series {
 public:
  explicit Series(std::function<Result()> measure) : measure_(std::move(measure)) {}
  const Result& at(std::size_t repetition) {
    while (results_.size() <= repetition) results_.push_back(measure_());
    return results_[repetition];
  }

 private:
  std::function<Result()> measure_;
  std::vector<Result> results_;
};
template <class Result>
using SeriesPtr = std::shared_ptr<Series<Result>>;
template <class Result>
SeriesPtr<Result> series(std::function<Result()> measure) {
  return std::make_shared<Series<Result>>(std::move(measure));
}

enum class Unit { nanoseconds, bytes };
constexpr int usualRepetitions = 3;

/// Registers the row `name`; `figure` gives its value for a repetition. What it throws is the row's
/// error.
void addFigure(const std::string& name, std::function<double(std::size_t)> figure,
               Unit unit = Unit::nanoseconds, int repetitions = usualRepetitions);

/// Registers a row for one of the figures of a series.
template <class Result>
void addFigure(const std::string& name, SeriesPtr<Result> from, double Result::*figure,
               Unit unit = Unit::nanoseconds, int repetitions = usualRepetitions) {
  addFigure(
      name, [=](std::size_t repetition) { return from->at(repetition).*figure; }, unit,
      repetitions);
}

}  // namespace Bench
