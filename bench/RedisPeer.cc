#include "bench/RedisPeer.h"

#include <charconv>
#include <cstring>
#include <initializer_list>
#include <memory>
#include <stdexcept>
#include <string>
#include <string_view>
#include <utility>

#include "bench/Sockets.h"

namespace Bench {
namespace {

/// Changes that are sent before the replies to those before them are taken.
constexpr std::size_t pipelineLength = 128;

template <class T>
std::string_view bytesOf(const T& value) {
  return {reinterpret_cast<const char*>(&value), sizeof value};
}
template <class T>
T valueOf(std::string_view bytes) {
  T value;
  if (bytes.size() != sizeof value) throw std::runtime_error("Redis gave another value");
  std::memcpy(&value, bytes.data(), sizeof value);
  return value;
}

/// A client that speaks RESP: commands are arrays of strings.
class Connection {
 public:
  explicit Connection(const std::string& path) : fd_(connectTo(path)) {}

  /// Adds a command to those that flush() sends.
  void add(std::initializer_list<std::string_view> words) {
    number('*', words.size());
    for (const std::string_view word : words) {
      number('$', word.size());
      out_.append(word).append("\r\n");
    }
  }
  void flush() { sendAll(fd_, std::exchange(out_, {})); }
  /// Waits for a reply and gives its last string or number; valid until the next call.
  std::string_view take() {
    std::string_view leaf;
    while (!has(leaf)) receive();
    return leaf;
  }
  /// The same if a whole reply is there already; false otherwise.
  bool has(std::string_view& leaf) {
    std::size_t at = used_;
    if (!parse(at, leaf)) return false;
    used_ = at;
    return true;
  }

 private:
  void number(char kind, std::size_t value) {
    char digits[24];
    out_.push_back(kind);
    out_.append(digits, std::to_chars(digits, digits + sizeof digits, value).ptr).append("\r\n");
  }
  void receive() {
    in_.erase(0, std::exchange(used_, 0));
    receiveSome(fd_, in_);
  }
  /// Reads a reply at `at`; false when it is not whole.
  bool parse(std::size_t& at, std::string_view& leaf) const {
    const std::size_t end = in_.find('\n', at);
    if (end == std::string::npos) return false;
    const char kind = in_[at];
    leaf = std::string_view(in_).substr(at + 1, end - at - 2);
    at = end + 1;
    if (kind == '-') throw std::runtime_error("Redis: " + std::string(leaf));
    if (kind != '*' && kind != '$') return true;
    long count = 0;
    std::from_chars(leaf.data(), leaf.data() + leaf.size(), count);
    return kind == '*' ? parseArray(at, count, leaf) : parseString(at, count, leaf);
  }
  bool parseArray(std::size_t& at, long count, std::string_view& leaf) const {
    for (long i = 0; i < count; ++i)
      if (!parse(at, leaf)) return false;
    return true;
  }
  bool parseString(std::size_t& at, long size, std::string_view& leaf) const {
    leaf = {};
    if (size < 0) return true;  // nil
    if (in_.size() - at < static_cast<std::size_t>(size) + 2) return false;
    leaf = std::string_view(in_).substr(at, static_cast<std::size_t>(size));
    at += static_cast<std::size_t>(size) + 2;
    return true;
  }

  int fd_;  // open as long as the process lives
  std::string out_;
  std::string in_;
  std::size_t used_ = 0;
};

/// Sends changes in batches, one of them ahead of the replies.
class Writer {
 public:
  explicit Writer(const std::string& path) : connection_(path) {}

  Answer handle(const Command& task) {
    const Answer answer = makeChanges(
        task,
        [&](RowKey key, const Row& row) {
          connection_.add({"HSET", "T", bytesOf(key), bytesOf(row)});
          connection_.add({"PUBLISH", "T", bytesOf(key)});
          ++added_;
          if (added_ == pipelineLength) send();
        },
        [&] {
          send();
          takeReplies();
        });
    return answer;
  }

 private:
  void send() {
    connection_.flush();
    takeReplies();
    sent_ = std::exchange(added_, 0);
  }
  void takeReplies() {
    for (std::size_t i = 0; i < 2 * sent_; ++i) connection_.take();
    sent_ = 0;
  }

  Connection connection_;
  std::size_t added_ = 0;
  std::size_t sent_ = 0;
};

class Reader {
 public:
  explicit Reader(const std::string& path) : subscription_(path), table_(path) {
    subscription_.add({"SUBSCRIBE", "T"});
    subscription_.flush();
    subscription_.take();
  }

  Answer handle(const Command& task) {
    tally_.expect(task);
    while (!tally_.complete()) {
      keys_.assign(1, valueOf<RowKey>(subscription_.take()));
      std::string_view next;
      while (keys_.size() < pipelineLength && subscription_.has(next))
        keys_.push_back(valueOf<RowKey>(next));
      fetch();
    }
    return tally_.answer();
  }

 private:
  void fetch() {
    for (const RowKey key : keys_) table_.add({"HGET", "T", bytesOf(key)});
    table_.flush();
    for (const RowKey key : keys_) tally_.heard(key, valueOf<Row>(table_.take()));
  }

  Connection subscription_;
  Connection table_;
  std::vector<RowKey> keys_;
  Tally tally_;
};

}  // namespace

RedisChain::RedisChain() {
  const std::string path = scratch_.path("socket");
  server_ = std::make_unique<Process>(
      "redis", serverCore,
      program({"redis-server", "--port", "0", "--unixsocket", path, "--save", "", "--appendonly",
               "no", "--dir", scratch_.path(""), "--client-output-buffer-limit", "pubsub", "0", "0",
               "0"}));
  writer_ = std::make_unique<Worker>("redis-writer", writerCore, roleOf<Writer>(path));
  reader_ = std::make_unique<Worker>("redis-reader", readerCore, roleOf<Reader>(path));
  reader_->call({});  // has subscribed
}

}  // namespace Bench
