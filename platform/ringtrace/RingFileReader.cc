#include "platform/ringtrace/RingFileReader.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <system_error>
#include <utility>

#include "platform/ringtrace/FileHeader.h"
#include "platform/ringtrace/RingFile.h"

namespace RingTrace {
namespace {

[[noreturn]] void failByErrno(const std::string& path) {
  throw FileError(path, std::generic_category().message(errno));
}

/// The header in the first bytes of a file.
FileHeader checkedHeader(std::string_view bytes, const std::string& name) {
  FileHeader header;
  if (bytes.size() < sizeof header)
    throw FileError(name, "not a ring file: " + std::to_string(bytes.size()) +
                              " bytes, its header has " + std::to_string(sizeof header));
  std::memcpy(&header, bytes.data(), sizeof header);
  if (header.magic != fileMagic) throw FileError(name, "not a ring file");
  if (header.layoutVersion != fileLayoutVersion)
    throw FileError(name, "layout version " + std::to_string(header.layoutVersion) + ", expected " +
                              std::to_string(fileLayoutVersion));
  if (header.slotSize != slotSize)
    throw FileError(name, "slots of " + std::to_string(header.slotSize) + " bytes, expected " +
                              std::to_string(slotSize));
  return header;
}

Fd openedFile(const std::string& path) {
  // Not blocking: the path may name a pipe.
  Fd fd(open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK));
  struct stat status {};
  if (!fd.valid() || fstat(fd.get(), &status) != 0) failByErrno(path);
  if (!S_ISREG(status.st_mode)) throw FileError(path, "not a regular file");
  return fd;
}

/// The first bytes of a file, at most `most`. Not mapped: somebody may truncate it meanwhile.
std::string firstBytes(const std::string& path, std::size_t most) {
  const Fd fd = openedFile(path);
  std::string bytes;
  std::size_t size = 0;
  while (size < most) {
    bytes.resize(std::min(most, size + 65536));
    const ssize_t got =
        pread(fd.get(), bytes.data() + size, bytes.size() - size, static_cast<off_t>(size));
    if (got < 0 && errno == EINTR) continue;
    if (got < 0) failByErrno(path);
    if (got == 0) break;
    size += static_cast<std::size_t>(got);
  }
  bytes.resize(size);
  return bytes;
}

}  // namespace

FileError::FileError(std::string path, std::string reason)
    : std::runtime_error(path + ": " + reason),
      path_(std::move(path)),
      reason_(std::move(reason)) {}

FileError::~FileError() = default;

std::vector<Message> readFile(const std::string& path) {
  return messagesFromBytes(firstBytes(path, sizeof(FileHeader) + mostSlots * slotSize), path);
}

FileInfo readFileInfo(const std::string& path) {
  const FileHeader header = checkedHeader(firstBytes(path, sizeof(FileHeader)), path);
  return {header.processId, header.slotCount, header.startWallNs, header.startMonotonicNs};
}

std::vector<Message> messagesFromBytes(std::string_view bytes, const std::string& name) {
  const FileHeader header = checkedHeader(bytes, name);
  bytes.remove_prefix(sizeof header);
  const std::uint64_t slots = std::min<std::uint64_t>(header.slotCount, bytes.size() / slotSize);
  std::vector<Message> found;
  for (std::uint64_t i = 0; i < slots; ++i) {
    SlotWords slot;
    std::memcpy(slot.data(), bytes.data() + i * slotSize, sizeof slot);
    if (auto message = messageOf(slot)) found.push_back(*std::move(message));
  }
  std::ranges::sort(found, {}, &Message::sequence);
  return found;
}

}  // namespace RingTrace
