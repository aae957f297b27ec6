#include "bench/HopPeer.h"

#include <sys/epoll.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <string>
#include <string_view>

#include "bench/Sockets.h"

namespace Bench {
namespace {

struct Message {
  RowKey key = 0;
  Row row;
  std::uint64_t padding[2] = {};
};
static_assert(sizeof(Message) == 64);

constexpr std::size_t writeSize = 64 << 10;

/// Waits for bytes as an event loop does.
class Waiter {
 public:
  explicit Waiter(int fd) : epoll_(epoll_create1(EPOLL_CLOEXEC)) {
    epoll_event event{};
    event.events = EPOLLIN;
    require(epoll_ >= 0 && epoll_ctl(epoll_, EPOLL_CTL_ADD, fd, &event) == 0, "epoll");
  }
  void wait() const {
    epoll_event event;
    while (epoll_wait(epoll_, &event, 1, -1) != 1) require(errno == EINTR, "epoll_wait");
  }

 private:
  int epoll_;  // open as long as the process lives
};

void forward(int from, int to) {
  const Waiter waiter(from);
  std::string bytes;
  for (;;) {
    waiter.wait();
    bytes.clear();
    receiveSome(from, bytes);
    sendAll(to, bytes);
  }
}

Worker::Handler writeTo(int fd) {
  return [fd](const Command& task) {
    std::string out;
    const auto flush = [&] {
      sendAll(fd, out);
      out.clear();
    };
    return makeChanges(
        task,
        [&](RowKey key, const Row& row) {
          const Message message{key, row, {}};
          out.append(reinterpret_cast<const char*>(&message), sizeof message);
          if (out.size() >= writeSize) flush();
        },
        flush);
  };
}

Worker::Handler readFrom(int fd) {
  return [fd, waiter = Waiter(fd), bytes = std::string(),
          tally = Tally()](const Command& task) mutable {
    tally.expect(task);
    while (!tally.complete()) {
      waiter.wait();
      receiveSome(fd, bytes);
      std::size_t at = 0;
      for (; bytes.size() - at >= sizeof(Message); at += sizeof(Message)) {
        Message message;
        std::memcpy(&message, bytes.data() + at, sizeof message);
        tally.heard(message.key, message.row);
      }
      bytes.erase(0, at);
    }
    return tally.answer();
  };
}

}  // namespace

HopChain::HopChain() : first_(socketPair()), second_(socketPair()) {
  server_ = std::make_unique<Process>("hop", serverCore, [&] { forward(first_[1], second_[0]); });
  writer_ = std::make_unique<Worker>("hop-writer", writerCore, [&] { return writeTo(first_[0]); });
  reader_ =
      std::make_unique<Worker>("hop-reader", readerCore, [&] { return readFrom(second_[1]); });
}

HopChain::~HopChain() {
  for (const int fd : {first_[0], first_[1], second_[0], second_[1]}) close(fd);
}

PingChain::PingChain() : ends_(socketPair()) {
  writer_ = std::make_unique<Worker>("ping-writer", writerCore, [&] { return writeTo(ends_[0]); });
  reader_ = std::make_unique<Worker>("ping-reader", readerCore, [&] { return readFrom(ends_[1]); });
}

PingChain::~PingChain() {
  for (const int fd : ends_) close(fd);
}

}  // namespace Bench
