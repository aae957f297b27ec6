/// What the runs share that stop a process after each of its instructions.
///
/// They are about the order in which instructions change memory, on one processor. Sanitizers put
/// instructions of their own in between, some hundred times as many: with them these runs are not
/// built.
#pragma once

#include <sched.h>

#include <cstddef>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "platform/kiln/Fd.h"
#include "platform/tarn/Format.h"

#if !defined(__SANITIZE_ADDRESS__) && !defined(__SANITIZE_THREAD__)
#if defined(__has_feature)
#if __has_feature(address_sanitizer) || __has_feature(thread_sanitizer)
#define TARN_STEP_INSTRUMENTED
#endif
#endif
#else
#define TARN_STEP_INSTRUMENTED
#endif
namespace TarnFaults {

/// Keeps this process, and those that it forks, on one processor: a step that wakes another one
/// takes several times as long.
class OneProcessor {
 public:
  OneProcessor() {
    ::sched_getaffinity(0, sizeof before_, &before_);
    cpu_set_t one;
    CPU_ZERO(&one);
    CPU_SET(static_cast<std::size_t>(::sched_getcpu()), &one);
    ::sched_setaffinity(0, sizeof one, &one);
  }
  ~OneProcessor() { ::sched_setaffinity(0, sizeof before_, &before_); }
  OneProcessor(const OneProcessor&) = delete;
  OneProcessor& operator=(const OneProcessor&) = delete;

 private:
  cpu_set_t before_;
};

/// The files of a folder as they stood when it was last looked at.
class Files {
 public:
  explicit Files(const std::string& path);
  /// Whether anything is different from the last time.
  bool look();
  void copyTo(const std::string& path) const;
  /// How the table stands; null before there is a head.
  const Tarn::HeadState* state() const;
  /// How many have that in their names.
  std::size_t count(const std::string& part) const;

 private:
  struct File {
    std::shared_ptr<char> mapped;
    std::vector<char> copy;
  };
  void list();

  const std::string path_;
  const Kiln::Fd watch_;
  std::map<std::string, File> files_;
};

}  // namespace TarnFaults
