/// The steps of a pass that are all to be done, whatever one of them raises.
///
///   FirstException first;
///   for (const auto& one : all) first.keep([&] { handle(one.key); });
///   first.raise();
///
/// Thread    one.
/// Cost      none for steps that raise nothing.
#pragma once

#include <exception>

namespace Forma {

class FirstException {
 public:
  /// Does the step, and keeps what it raises, if it is the first that does.
  template <class Step>
  void keep(Step step) {
    try {
      step();
    } catch (...) {
      if (!first_) first_ = std::current_exception();
    }
  }
  /// Raises the exception that was kept, if any.
  void raise() const {
    if (first_) [[unlikely]]
      std::rethrow_exception(first_);
  }

 private:
  std::exception_ptr first_;
};

}  // namespace Forma
