#include "platform/tarn/PrivateFd.h"

#include <pthread.h>

#include <mutex>
#include <unordered_set>
#include <utility>

namespace Tarn {

namespace {

/// All that there are. Never destroyed: descriptors may be closed while the process ends.
struct Registry {
  std::mutex mutex;
  std::unordered_set<Kiln::Fd*> all;

  Registry();
};

Registry& registry() {
  static auto* const only = new Registry;
  return *only;
}

/// Nothing is allocated or freed between fork and the end of the handler.
Registry::Registry() {
  ::pthread_atfork([] { registry().mutex.lock(); }, [] { registry().mutex.unlock(); },
                   [] {
                     for (Kiln::Fd* fd : registry().all) *fd = Kiln::Fd();
                     registry().mutex.unlock();
                   });
}

}  // namespace

PrivateFd::PrivateFd(Kiln::Fd fd) {
  Registry& one = registry();
  std::unique_ptr<Kiln::Fd, Forget> made(new Kiln::Fd(std::move(fd)));
  const std::lock_guard lock(one.mutex);
  one.all.insert(made.get());
  fd_ = std::move(made);
}

int PrivateFd::get() const { return fd_ ? fd_->get() : -1; }

void PrivateFd::Forget::operator()(Kiln::Fd* fd) const {
  {
    Registry& one = registry();
    const std::lock_guard lock(one.mutex);
    one.all.erase(fd);
  }
  delete fd;
}

}  // namespace Tarn
