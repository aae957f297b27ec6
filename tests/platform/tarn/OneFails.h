/// Calls of the kernel of which one fails.
#pragma once

#include <sys/mman.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdint>
#include <string>
#include <system_error>

#include "platform/tarn/DirectoryStorage.h"

namespace Tarn {

/// Lets call number `which` fail, counted from 0 over all kinds: in the way of its kind that
/// `variant` chooses, or always with the same error. mmap and madvise are never interrupted.
class OneFails : public SystemCalls {
 public:
  struct Always {
    int error;
  };
  OneFails(std::uint64_t which, unsigned variant) : left_(which), variant_(variant) {
    currentIs(*this);
  }
  OneFails(std::uint64_t which, Always always) : left_(which), always_(always) { currentIs(*this); }
  ~OneFails() override { currentIs(real()); }
  OneFails(const OneFails&) = delete;
  OneFails& operator=(const OneFails&) = delete;

  bool hasFailed() const { return !failed_.empty(); }
  /// Which call failed, and how.
  const std::string& failed() const { return failed_; }

  int openat(int directory, const char* name, int flags, mode_t mode) override {
    return fails("openat", {EMFILE, EACCES, EINTR, ENOMEM})
               ? -1
               : SystemCalls::openat(directory, name, flags, mode);
  }
  int fallocate(int fd, off_t size) override {
    return fails("fallocate", {ENOSPC, EINTR, ENOSPC, EFBIG}) ? errno
                                                              : SystemCalls::fallocate(fd, size);
  }
  void* mmap(std::size_t size, int protection, int fd) override {
    return fails("mmap", {ENOMEM, EAGAIN, ENOMEM, ENFILE})
               ? MAP_FAILED
               : SystemCalls::mmap(size, protection, fd);
  }
  int madvise(void* at, std::size_t size, int advice) override {
    return fails("madvise", {ENOMEM, ENOMEM, EAGAIN, ENOMEM})
               ? -1
               : SystemCalls::madvise(at, size, advice);
  }
  int renameat(int directory, const char* from, const char* to) override {
    return fails("renameat", {ENOSPC, EACCES, EINTR, ENOMEM})
               ? -1
               : SystemCalls::renameat(directory, from, to);
  }
  int unlinkat(int directory, const char* name) override {
    return fails("unlinkat", {EACCES, EIO, EINTR, ENOMEM}) ? -1
                                                           : SystemCalls::unlinkat(directory, name);
  }
  int mkdirat(int directory, const char* name, mode_t mode) override {
    return fails("mkdirat", {ENOSPC, EACCES, EINTR, EMLINK})
               ? -1
               : SystemCalls::mkdirat(directory, name, mode);
  }
  int fchown(int fd, uid_t owner, gid_t group) override {
    return fails("fchown", {EPERM, EIO, EINTR, EPERM}) ? -1 : SystemCalls::fchown(fd, owner, group);
  }
  int fchmod(int fd, mode_t mode) override {
    return fails("fchmod", {EPERM, EIO, EINTR, EPERM}) ? -1 : SystemCalls::fchmod(fd, mode);
  }
  int fstat(int fd, struct stat* out) override {
    return fails("fstat", {ENOMEM, EIO, EINTR, EOVERFLOW}) ? -1 : SystemCalls::fstat(fd, out);
  }
  int fstatat(int directory, const char* name, struct stat* out) override {
    return fails("fstatat", {ENOMEM, EACCES, EINTR, EIO})
               ? -1
               : SystemCalls::fstatat(directory, name, out);
  }
  int socket(int type) override {
    return fails("socket", {EMFILE, ENFILE, ENOBUFS, EACCES}) ? -1 : SystemCalls::socket(type);
  }
  int bind(int fd, const char* path) override {
    return fails("bind", {EACCES, ENOSPC, EADDRINUSE, ENOMEM}) ? -1 : SystemCalls::bind(fd, path);
  }
  int connect(int fd, const char* path) override {
    return fails("connect", {ECONNREFUSED, EAGAIN, EINTR, EACCES}) ? -1
                                                                   : SystemCalls::connect(fd, path);
  }
  ssize_t send(int fd, const void* bytes, std::size_t size) override {
    return fails("send", {EAGAIN, EPIPE, EINTR, ENOBUFS}) ? -1 : SystemCalls::send(fd, bytes, size);
  }

 private:
  bool fails(const char* call, const std::array<int, 4>& errors) {
    if (always_.error == EINTR && std::ranges::find(errors, EINTR) == errors.end()) return false;
    if (left_-- != 0) return false;
    const int error = always_.error != 0 ? always_.error : errors[variant_ % errors.size()];
    failed_ = std::string(call) + " (" + std::generic_category().message(error) + ")";
    errno = error;
    return true;
  }

  std::uint64_t left_;
  const unsigned variant_ = 0;
  const Always always_{0};  // 0: what the variant says
  std::string failed_;
};

}  // namespace Tarn
