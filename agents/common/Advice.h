/// What to do about a directory of tables that cannot be written.
#pragma once

#include <stdexcept>
#include <string>
#include <system_error>

namespace Agents {

/// The end of an error's text; `option` is that by which another directory may be chosen.
std::string adviceFor(const std::error_code& code, const std::string& option);

/// Calls `make`; a std::system_error that it raises becomes a std::runtime_error with advice.
auto withAdvice(const std::string& option, auto make) {
  try {
    return make();
  } catch (const std::system_error& problem) {
    throw std::runtime_error(problem.what() + adviceFor(problem.code(), option));
  }
}

}  // namespace Agents
