#include "platform/tarn/FileMapping.h"

#include <sys/mman.h>
#include <unistd.h>

#include <cerrno>

#include "platform/tarn/BusErrors.h"
#include "platform/tarn/DirectoryStorage.h"

namespace Tarn {
namespace {

/// No file of a table comes near it, and an address space has room for some of this size.
constexpr off_t sizeLimit = off_t{1} << 40;

}  // namespace

void FileMapping::operator()(std::byte* bytes) const {
  if (range != nullptr) range->leave();
  // In a child other memory may stand there.
  if (owner == 0 || owner == ::getpid()) ::munmap(bytes, size);
}

const FileMapping* knownOf(const Mapping& mapping) {
  return std::get_deleter<FileMapping>(mapping.bytes);
}

std::pair<int, const char*> flawOf(const struct stat& file) {
  if (!S_ISREG(file.st_mode)) return {EBADMSG, ": is not a regular file"};
  if (file.st_size == 0) return {EBADMSG, ": is empty"};
  if (file.st_size > sizeLimit) return {EFBIG, ": is too large to be part of a table"};
  return {0, ""};
}

Mapping mapFile(const Kiln::Fd& fd, const struct stat& file, Access access) {
  SystemCalls& calls = SystemCalls::current();
  const auto size = static_cast<std::size_t>(file.st_size);
  const int protection = access == Access::write ? PROT_READ | PROT_WRITE : PROT_READ;
  void* at = calls.mmap(size, protection, fd.get());
  if (at == MAP_FAILED) return {};
  std::shared_ptr<std::byte> bytes(static_cast<std::byte*>(at),
                                   FileMapping{size, file.st_dev, file.st_ino, 0, nullptr});
  auto* known = std::get_deleter<FileMapping>(bytes);
  if (access == Access::write) {
    if (calls.madvise(at, size, MADV_DONTFORK) != 0) return {};
    known->owner = ::getpid();
  }
  known->range = &MappedRange::enter(bytes.get(), size, protection, known->owner);
  return {std::move(bytes), size};
}

}  // namespace Tarn
