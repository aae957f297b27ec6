/// One check of `mplsctl verify`: what was looked at, and what is wrong with it.
///
/// Thread    one.
#pragma once

#include <algorithm>
#include <cstdint>
#include <functional>
#include <string>
#include <utility>
#include <vector>

#include "agents/common/ExitCode.h"

namespace MplsCtl {

class Check {
 public:
  /// Rising, as what counts more.
  enum class Result {
    pass,
    skip,        ///< cannot be told just now, which is no fault
    fail,        ///< what stands in the tables or the database contradicts itself
    unreadable,  ///< cannot be opened
    damage       ///< bytes that no writer wrote so
  };
  /// So many findings are kept; of others only how many they were.
  static constexpr std::size_t findingLimit = 20;

  /// `place` is what is checked: a directory, a table, a path of the database.
  Check(std::string name, std::string place) : name_(std::move(name)), place_(std::move(place)) {}

  const std::string& name() const { return name_; }
  const std::string& place() const { return place_; }
  Result result() const { return result_; }
  /// How much was looked at, or why nothing was: for people.
  const std::string& summary() const { return summary_; }
  void summaryIs(std::string text) { summary_ = std::move(text); }
  const std::vector<std::string>& findings() const { return findings_; }
  /// How many there were.
  std::uint64_t count() const { return count_; }

  void failed(std::string finding) { add(Result::fail, std::move(finding)); }
  void damaged(std::string finding) { add(Result::damage, std::move(finding)); }
  void unreadable(std::string finding) { add(Result::unreadable, std::move(finding)); }
  void skipped(std::string why) {
    result_ = std::max(result_, Result::skip);
    summary_ = std::move(why);
  }

 private:
  void add(Result result, std::string finding) {
    result_ = std::max(result_, result);
    if (++count_ <= findingLimit) findings_.push_back(std::move(finding));
  }

  const std::string name_;
  const std::string place_;
  Result result_ = Result::pass;
  std::string summary_;
  std::vector<std::string> findings_;
  std::uint64_t count_ = 0;
};

/// Hears of each check when it is done.
using CheckSink = std::function<void(const Check& check)>;

/// Lets a little time go by, in which writers write and readers hear of it.
using Pause = std::function<void()>;

/// So often what seems wrong while somebody writes is looked at again, after a pause each.
inline constexpr int secondLooks = 20;
/// How long a pause is that nobody else decides: milliseconds.
inline constexpr int pauseTime = 20;

/// Looks at the keys again until nothing seems wrong with any, or it has been so for a while;
/// problemOf(key) is what is wrong now, empty when nothing is. Adds what is left to the check.
template <class Key, class Problem>
void lookAgain(std::vector<Key> keys, Check& check, const Pause& pause, Problem problemOf) {
  for (int look = 0; pause && look < secondLooks && !keys.empty(); ++look) {
    std::erase_if(keys, [&](const Key& key) { return problemOf(key).empty(); });
    if (!keys.empty()) pause();
  }
  for (const Key& key : keys)
    if (std::string problem = problemOf(key); !problem.empty()) check.failed(std::move(problem));
}

}  // namespace MplsCtl
