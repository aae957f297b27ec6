/// Checks that the tests of several folders make.
#pragma once

#include <gtest/gtest.h>

#include <initializer_list>
#include <string>
#include <string_view>
#include <vector>

#include "platform/forma/Errors.h"
#include "platform/forma/String8.h"
#include "platform/forma/Trace.h"

namespace Checks {

/// The value that `text` names.
template <class T>
T parsed(const Forma::String8& text) {
  T v;
  v.stringValueIs(text);
  return v;
}

template <class T>
std::vector<T> parsed(std::initializer_list<const char*> texts) {
  std::vector<T> all;
  for (const char* text : texts) all.push_back(parsed<T>(text));
  return all;
}

/// What `call` raises. Exceptions of other types pass.
template <class E = Forma::RangeException, class Call>
std::string raised(Call call) {
  try {
    call();
  } catch (const E& e) {
    return e.what();
  }
  return "nothing";
}

/// The messages of the debug trace at these levels while `f` runs, a line each.
template <class F>
std::string traced(std::string_view levels, F f) {
  std::string lines;
  Forma::traceSinkIs([&](const Forma::TraceMessage& m) { (lines += m.text) += '\n'; });
  Forma::traceLevelsIs(levels);
  f();
  Forma::traceLevelsIs("");
  Forma::traceSinkIs({});
  return lines;
}

/// Expects each value to be less than those behind it, and to share its hash with none of them.
template <class T>
void expectAscending(const std::vector<T>& values) {
  for (std::size_t i = 0; i < values.size(); ++i)
    for (std::size_t j = 0; j < values.size(); ++j) {
      EXPECT_EQ(values[i] < values[j], i < j) << values[i] << " " << values[j];
      EXPECT_EQ(values[i] == values[j], i == j) << values[i] << " " << values[j];
      EXPECT_EQ(values[i].hash() == values[j].hash(), i == j) << values[i] << " " << values[j];
    }
}

}  // namespace Checks
