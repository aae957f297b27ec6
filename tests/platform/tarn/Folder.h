/// Storages of one test in /dev/shm, what stands in them, and children that look at them.
#pragma once

#include <gtest/gtest.h>
#include <signal.h>
#include <stdlib.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstddef>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <functional>
#include <iterator>
#include <string>
#include <vector>

#include "platform/tarn/Storage.h"

namespace Tarn {

namespace fs = std::filesystem;

/// A folder in memory, for one test.
struct Folder {
  Folder() { EXPECT_NE(::mkdtemp(path.data()), nullptr) << path; }
  ~Folder() { fs::remove_all(path); }
  std::string operator/(const std::string& name) const { return path + "/" + name; }
  /// Everything in it.
  std::vector<std::string> content() const {
    std::vector<std::string> names;
    for (const auto& one : fs::directory_iterator(path)) names.push_back(one.path().filename());
    return names;
  }
  /// The rights of each mapping of a file in it, as /proc/self/maps gives them.
  std::vector<std::string> mapped() const {
    std::vector<std::string> rights;
    std::ifstream maps("/proc/self/maps");
    for (std::string line; std::getline(maps, line);)
      if (line.find(path) != std::string::npos)
        rights.push_back(line.substr(line.find(' ') + 1, 4));
    return rights;
  }
  std::string path = "/dev/shm/storage-test-XXXXXX";
};

/// How many descriptors this process has open.
inline std::size_t descriptors() {
  const fs::directory_iterator all("/proc/self/fd");
  return static_cast<std::size_t>(std::distance(begin(all), end(all)));
}
inline std::function<void(std::byte*)> filledWith(const std::string& text) {
  return [text](std::byte* to) { std::memcpy(to, text.data(), text.size()); };
}
inline std::string textIn(const Mapping& mapping) {
  return reinterpret_cast<const char*>(mapping.data());
}
/// Forks a child that is killed when this process ends: a test that is killed leaves none behind.
inline pid_t forkMortal() {
  const pid_t parent = ::getpid();
  const pid_t child = ::fork();
  if (child == 0) {
    ::prctl(PR_SET_PDEATHSIG, SIGKILL);
    if (::getppid() != parent) ::_exit(1);  // it ended before it could be told of
  }
  return child;
}
/// What a process that does `work` exits with.
template <class Work>
int exitOf(Work work) {
  const pid_t child = forkMortal();
  if (child == 0) ::_exit(work());
  int status = 0;
  ::waitpid(child, &status, 0);
  return WIFEXITED(status) ? WEXITSTATUS(status) : -WTERMSIG(status);
}
/// Expects nothing to fail in a child that does `work`.
template <class Work>
void inChild(Work work) {
  const auto checked = [&] { return work(), testing::Test::HasFailure() ? 1 : 0; };
  EXPECT_EQ(exitOf(checked), 0);
}
}  // namespace Tarn
