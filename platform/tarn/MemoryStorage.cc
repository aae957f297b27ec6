#include <sys/mman.h>

#include <cerrno>
#include <functional>
#include <map>
#include <string>
#include <system_error>
#include <utility>

#include "platform/tarn/DirectoryStorage.h"
#include "platform/tarn/Storage.h"

namespace Tarn {
namespace {

/// Memory of this process, in whole pages, zeroed. Raises std::system_error.
Mapping newMemory(const std::string& path, std::size_t size) {
  void* at = SystemCalls::current().mmap(size, PROT_READ | PROT_WRITE, -1);
  if (at == MAP_FAILED)
    throw std::system_error(errno, std::generic_category(),
                            "no memory for " + path + ", " + std::to_string(size) + " bytes");
  const auto release = [size](std::byte* bytes) { ::munmap(bytes, size); };
  return {std::shared_ptr<std::byte>(static_cast<std::byte*>(at), release), size};
}

class MemoryStorage final : public Storage {
 public:
  explicit MemoryStorage(std::string name) : name_(std::move(name)) {}

  std::string name() const override { return name_; }

  Mapping create(std::string_view file, std::size_t size,
                 const std::function<void(std::byte*)>& fill) override {
    Mapping mapping = newMemory(path(file), size);
    if (fill) fill(mapping.data());
    files_.insert_or_assign(std::string(file), mapping);
    return mapping;
  }

  Opened open(std::string_view file, Access) const override {
    const auto found = files_.find(file);
    if (found == files_.end()) return {{}, ENOENT, path(file) + ": no such file"};
    return {found->second, 0, {}};
  }

  void remove(std::string_view file) override {
    if (const auto found = files_.find(file); found != files_.end()) files_.erase(found);
  }

  bool isThere(std::string_view file, const Mapping& mapping) const override {
    const auto found = files_.find(file);
    return found != files_.end() && found->second.bytes == mapping.bytes;
  }

  bool isDamaged(const Mapping&) const override { return false; }

  std::vector<std::string> files() const override {
    std::vector<std::string> names;
    for (const auto& [name, mapping] : files_)
      if (name.find('/') == std::string::npos && !name.starts_with('.')) names.push_back(name);
    return names;
  }

  std::string moveAside(const std::vector<std::string>& names) override {
    const std::string folder = "aside." + std::to_string(++asides_);
    for (const std::string& name : names)
      if (auto file = files_.extract(name)) {
        file.key().insert(0, folder + "/");
        files_.insert(std::move(file));
      }
    return path(folder);
  }

 private:
  std::string path(std::string_view file) const { return name_ + "/" + std::string(file); }

  const std::string name_;
  std::map<std::string, Mapping, std::less<>> files_;
  unsigned asides_ = 0;
};

}  // namespace

Storage::~Storage() = default;

std::unique_ptr<Storage> memoryStorageFactory(std::string name) {
  return std::make_unique<MemoryStorage>(std::move(name));
}

}  // namespace Tarn
