#include "platform/tarn/SoughtDirectory.h"

#include <fcntl.h>

#include <cerrno>
#include <system_error>
#include <utility>

#include "platform/tarn/DirectoryStorage.h"
#include "platform/tarn/OwnedDirectory.h"
#include "platform/tarn/StorageErrors.h"

namespace Tarn {

void SoughtDirectory::watch(Kiln::EventLoop& loop, std::function<void()> handler) {
  watch_ = std::make_unique<DirectoryWatch>(loop, path_, std::move(handler));
}

void SoughtDirectory::onOtherIs(std::function<void()> handler) {
  onOther_ = std::move(handler);
  storage_.onGoneIs([this] { return isOther(); });
}

void SoughtDirectory::find() {
  if (watch_) watch_->renew();
  problem_.clear();
  if (directory_ && compareFile(path_, file_) == 0) return;
  try {
    open();
  } catch (const std::system_error& e) {
    problem_ = e.what();
    storage_.problemIs(e.code().value(), problem_);
  }
}

void SoughtDirectory::open() {
  Kiln::Fd directory(::open(path_.c_str(), O_PATH | O_DIRECTORY | O_CLOEXEC));
  struct stat file {};
  if (!directory || ::fstat(directory.get(), &file) != 0)
    raiseFailure("open directory " + path_, path_, Right::read, errno);
  storage_.currentIs(directoryStorageFactory(path_));
  isOther_ = isOther_ || directory_;
  directory_ = std::move(directory);
  file_ = file;
  if (watch_) watch_->renew();
}

/// A table misses a file: whether that is in a directory that took the place of the one it knows.
bool SoughtDirectory::isOther() {
  if (!directory_ || compareFile(path_, file_) == 0) return false;
  try {
    open();
  } catch (const std::system_error&) {
    return false;
  }
  onOther_();
  return true;
}

}  // namespace Tarn
