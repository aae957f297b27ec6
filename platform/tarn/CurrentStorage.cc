#include "platform/tarn/CurrentStorage.h"

#include <cerrno>
#include <system_error>

#include "platform/kiln/Fd.h"

namespace Tarn {

// Each call holds the storage it works on: what it calls back may put another in its place.

Mapping CurrentStorage::create(std::string_view file, std::size_t size,
                               const std::function<void(std::byte*)>& fill) {
  try {
    const auto storage = current_;
    if (!storage) Kiln::raiseErrno(ENOENT, path_);
    return storage->create(file, size, fill);
  } catch (const std::system_error& problem) {
    if (problem.code() != std::errc::no_such_file_or_directory || !onGone_ || !onGone_()) throw;
  }
  const auto storage = current_;
  return storage->create(file, size, fill);
}

Opened CurrentStorage::open(std::string_view file, Access access) const {
  const auto storage = current_;
  if (!storage) return {{}, error_ == 0 ? ENOENT : error_, text_.empty() ? path_ : text_};
  Opened opened = storage->open(file, access);
  if (opened.error != ENOENT || !onGone_ || !onGone_()) return opened;
  const auto other = current_;
  return other->open(file, access);
}

void CurrentStorage::remove(std::string_view file) {
  const auto storage = current_;
  if (storage) storage->remove(file);
}

bool CurrentStorage::isThere(std::string_view file, const Mapping& mapping) const {
  const auto storage = current_;
  return storage && storage->isThere(file, mapping);
}

bool CurrentStorage::isDamaged(const Mapping& mapping) const {
  const auto storage = current_;
  return storage && storage->isDamaged(mapping);
}

std::vector<std::string> CurrentStorage::files() const {
  const auto storage = current_;
  return storage ? storage->files() : std::vector<std::string>{};
}

std::string CurrentStorage::moveAside(const std::vector<std::string>& names) {
  const auto storage = current_;
  return storage ? storage->moveAside(names) : std::string();
}

}  // namespace Tarn
