#include "tools/mplsctl/BackgroundWriter.h"

#include <iostream>
#include <utility>

namespace MplsCtl {

void writeOut(Text& text) {
  std::cout.write(text.data(), static_cast<std::streamsize>(text.size()));
  std::cout.flush();
  text.clear();
}

BackgroundWriter::~BackgroundWriter() {
  {
    const std::lock_guard lock(mutex_);
    isEnding_ = true;
  }
  changed_.notify_all();
  thread_.join();
}

void BackgroundWriter::write(Text& text) {
  {
    std::unique_lock lock(mutex_);
    waitUntilWritten(lock);
    std::swap(text_, text);
    isFull_ = true;
  }
  changed_.notify_all();
}

void BackgroundWriter::wait() {
  std::unique_lock lock(mutex_);
  waitUntilWritten(lock);
}

void BackgroundWriter::waitUntilWritten(std::unique_lock<std::mutex>& lock) {
  changed_.wait(lock, [this] { return !isFull_; });
  if (failure_) std::rethrow_exception(std::exchange(failure_, nullptr));
}

void BackgroundWriter::run() {
  std::unique_lock lock(mutex_);
  for (;;) {
    changed_.wait(lock, [this] { return isFull_ || isEnding_; });
    if (!isFull_) return;
    lock.unlock();
    std::exception_ptr failure;
    try {
      writeOut(text_);
    } catch (...) {
      failure = std::current_exception();
    }
    lock.lock();
    failure_ = failure;
    text_.clear();
    isFull_ = false;
    changed_.notify_all();
  }
}

}  // namespace MplsCtl
