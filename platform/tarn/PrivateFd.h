/// Descriptors that forked children do not get. Private to platform/tarn.
///
/// Thread    any; each object one at a time.
/// Limit     fork() only: a child of a bare clone system call keeps them, as closing is done by
///           pthread_atfork.
#pragma once

#include <memory>

#include "platform/kiln/Fd.h"

namespace Tarn {

/// A descriptor that is closed when it goes, and in each forked child at once. So a connection ends
/// with the process that made it, whatever children it left, and no child can use it.
class PrivateFd {
 public:
  PrivateFd() = default;
  explicit PrivateFd(Kiln::Fd fd);

  /// Negative when there is none: always so in a child.
  int get() const;
  explicit operator bool() const { return get() >= 0; }

 private:
  struct Forget {
    void operator()(Kiln::Fd* fd) const;
  };
  std::unique_ptr<Kiln::Fd, Forget> fd_;
};

}  // namespace Tarn
