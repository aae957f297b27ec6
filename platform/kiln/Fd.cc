#include "platform/kiln/Fd.h"

#include <unistd.h>

#include <system_error>

namespace Kiln {

Fd::~Fd() {
  if (fd_ >= 0) ::close(fd_);
}

void raiseErrno(int error, const std::string& what) {
  throw std::system_error(error, std::generic_category(), what);
}

}  // namespace Kiln
