/// By which a reader of shared tables tells their writer that it has all of a task.
#pragma once

#include <sys/epoll.h>
#include <sys/eventfd.h>
#include <unistd.h>

#include <stdexcept>

#include "bench/Processes.h"
#include "platform/kiln/EventLoop.h"

namespace Bench {

/// Until the reader has said so the writer's loop must run, as that of an agent always does, and
/// ring again. To be made before the two processes part.
class AllHeard {
 public:
  AllHeard() : fd_(eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK)) { require(fd_ >= 0, "eventfd"); }
  ~AllHeard() { close(fd_); }
  AllHeard(const AllHeard&) = delete;
  AllHeard& operator=(const AllHeard&) = delete;

  void say() const { require(eventfd_write(fd_, 1) == 0, "eventfd_write"); }
  void await(Kiln::EventLoop& loop) const {
    constexpr double patience = 60;  // seconds
    bool heard = false;
    loop.fdIs(fd_, EPOLLIN, [&](std::uint32_t /*events*/) {
      eventfd_t ignored;
      heard = eventfd_read(fd_, &ignored) == 0;
    });
    if (!loop.runUntil([&] { return heard; }, patience))
      throw std::runtime_error("the reader has not heard all");
    loop.fdDel(fd_);
  }

 private:
  int fd_;
};

}  // namespace Bench
