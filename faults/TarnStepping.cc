#include "faults/TarnStepping.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/inotify.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cstring>
#include <filesystem>

namespace TarnFaults {

namespace fs = std::filesystem;

Files::Files(const std::string& path) : path_(path), watch_(::inotify_init1(IN_NONBLOCK)) {
  EXPECT_GE(::inotify_add_watch(watch_.get(), path.c_str(), IN_CREATE | IN_DELETE | IN_MOVE), 0);
  list();
}

bool Files::look() {
  char events[4096];
  bool changed = false;
  while (::read(watch_.get(), events, sizeof events) > 0) changed = true;
  if (changed) list();
  for (auto& [name, file] : files_) {
    const std::size_t size = file.copy.size();
    if (size == 0 || std::memcmp(file.copy.data(), file.mapped.get(), size) == 0) continue;
    std::memcpy(file.copy.data(), file.mapped.get(), size);
    changed = true;
  }
  return changed;
}

void Files::copyTo(const std::string& path) const {
  fs::remove_all(path);
  fs::create_directory(path);
  for (const auto& [name, file] : files_) {
    const Kiln::Fd to(::open(fs::path(path).append(name).c_str(), O_WRONLY | O_CREAT, 0644));
    const auto size = static_cast<ssize_t>(file.copy.size());
    EXPECT_EQ(::write(to.get(), file.copy.data(), file.copy.size()), size);
  }
}

const Tarn::HeadState* Files::state() const {
  const auto head = files_.find("rows.head");
  if (head == files_.end()) return nullptr;
  return reinterpret_cast<const Tarn::HeadState*>(head->second.mapped.get() + Tarn::headStateAt);
}

std::size_t Files::count(const std::string& part) const {
  return static_cast<std::size_t>(std::ranges::count_if(
      files_, [&](const auto& one) { return one.first.find(part) != std::string::npos; }));
}

void Files::list() {
  files_.clear();
  for (const auto& entry : fs::directory_iterator(path_)) {
    File file;
    const Kiln::Fd fd(::open(entry.path().c_str(), O_RDONLY));
    struct stat found {};
    EXPECT_EQ(::fstat(fd.get(), &found), 0);
    if (const auto size = static_cast<std::size_t>(found.st_size); size != 0) {
      void* at = ::mmap(nullptr, size, PROT_READ, MAP_SHARED, fd.get(), 0);
      EXPECT_NE(at, MAP_FAILED);
      file.mapped = {static_cast<char*>(at), [size](char* bytes) { ::munmap(bytes, size); }};
      file.copy.assign(file.mapped.get(), file.mapped.get() + size);
    }
    files_.emplace(entry.path().filename(), std::move(file));
  }
}

}  // namespace TarnFaults
