#include "platform/tarn/WriterPlace.h"

#include <cerrno>
#include <system_error>

#include "platform/tarn/OwnedDirectory.h"

namespace Tarn {

/// The lock comes first: nothing is changed of a directory in which another writes.
WriterPlace::WriterPlace(const PlacePlan& plan)
    : plan_(plan),
      directory_(madeDirectory(plan_.path)),
      lock_(directory_.get(), plan_.path, plan_.agent) {
  rightsAre(directory_, plan_.path, plan_.rights, plan_.mode);
  if (!lock_.ownerIs(plan_.rights)) Kiln::raiseErrno(errno, plan_.path + "/" + lockName);
  if (::fstat(directory_.get(), &file_) != 0) Kiln::raiseErrno(errno, plan_.path);
}

bool WriterPlace::isGone() const {
  const int error = compareFile(plan_.path, file_);
  if (error != 0 && error != ENOENT) Kiln::raiseErrno(error, plan_.path);
  return error == ENOENT;
}

std::string WriterPlace::open(Kiln::EventLoop& loop) {
  std::string problem = publishInfo();
  bell_ = std::make_unique<Doorbell>(loop, directory_.get(), plan_.path, plan_.rights, plan_.mode);
  return problem;
}

std::string WriterPlace::mend() {
  std::string mended;
  if (!lock_.isThere()) {
    lock_.renew();
    mended = lockName;
  }
  if (bell_ && !bell_->isThere()) {
    bell_->renew();
    publishInfo();
    mended += (mended.empty() ? "" : " and ") + std::string(bellName);
  }
  return mended.empty() ? mended : plan_.path + ": " + mended + " had been removed: made again";
}

std::string WriterPlace::publishInfo() const {
  if (lock_.info().publish(directory_.get(), plan_.rights)) return {};
  return plan_.path + "/" + infoName +
         " cannot be written: " + std::generic_category().message(errno);
}

}  // namespace Tarn
