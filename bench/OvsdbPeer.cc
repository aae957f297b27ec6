#include "bench/OvsdbPeer.h"

#include <charconv>
#include <cstdlib>
#include <fstream>
#include <memory>
#include <stdexcept>
#include <string>
#include <string_view>
#include <utility>

#include "bench/Sockets.h"

namespace Bench {
namespace {

constexpr std::size_t rowsAtOnce = 100;
/// Transactions that are under way at once, at most.
constexpr std::size_t windowSize = 4;

constexpr const char* schema =
    R"({"name":"Bench","version":"1.0.0","tables":{"Row":{"columns":{)"
    R"("key":{"type":"integer"},"generation":{"type":"integer"},"stamp":{"type":"integer"},)"
    R"("a":{"type":"integer"},"b":{"type":"integer"},"c":{"type":"integer"}},"isRoot":true}}})";
constexpr const char* monitor = R"({"method":"monitor","params":["Bench",null,{"Row":{"columns":)"
                                R"(["key","generation","stamp","a","b","c"]}}],"id":0})";

/// A JSON-RPC connection (RFC 7047): objects, one after the other.
class Connection {
 public:
  explicit Connection(const std::string& path) : fd_(connectTo(path)) {}

  void send(std::string_view text) const { sendAll(fd_, text); }
  /// Waits for a message; valid until the next call.
  std::string_view take() {
    in_.erase(0, std::exchange(used_, 0));
    while (!scan()) receiveSome(fd_, in_);
    const auto message = std::string_view(in_).substr(0, used_);
    if (message.find(R"("error":{)") != std::string_view::npos)
      throw std::runtime_error("ovsdb-server: " + std::string(message.substr(0, 400)));
    return message;
  }

 private:
  /// Goes on to the end of the first object; false when it is not there yet.
  bool scan() {
    for (; scanned_ < in_.size(); ++scanned_) {
      const char c = in_[scanned_];
      if (quoted_) {
        if (c == '"') quoted_ = false;  // our texts escape nothing
      } else if (c == '"') {
        quoted_ = true;
      } else if (c == '{') {
        ++depth_;
      } else if (c == '}' && --depth_ == 0) {
        used_ = scanned_ + 1;
        scanned_ = 0;
        return true;
      }
    }
    return false;
  }

  int fd_;  // open as long as the process lives
  std::string in_;
  std::size_t used_ = 0;
  std::size_t scanned_ = 0;
  int depth_ = 0;
  bool quoted_ = false;
};

void append(std::string& out, std::string_view label, std::uint64_t value) {
  char digits[24];
  out.append(label);
  out.append(digits, std::to_chars(digits, digits + sizeof digits, value).ptr);
}

std::uint64_t numberBehind(std::string_view text, std::string_view label) {
  const std::size_t at = text.find(label);
  if (at == std::string_view::npos) throw std::runtime_error("ovsdb-server left out a column");
  std::uint64_t value = 0;
  std::from_chars(text.data() + at + label.size(), text.data() + text.size(), value);
  return value;
}

/// Rows that are new are inserted; the others are updated by their UUID, which is fastest.
class Writer {
 public:
  explicit Writer(const std::string& path) : connection_(path) {}

  Answer handle(const Command& task) {
    uuids_.resize(std::max<std::size_t>(uuids_.size(), task.count));
    return makeChanges(
        task,
        [&](RowKey key, const Row& row) {
          add(key, row);
          if (keys_.size() == rowsAtOnce) send();
        },
        [&] {
          if (!keys_.empty()) send();
          while (!underWay_.empty()) takeReply();
        });
  }

 private:
  void add(RowKey key, const Row& row) {
    const std::string& uuid = uuids_[key];
    out_ += uuid.empty() ? R"(,{"op":"insert","table":"Row","row":{)"
                         : R"(,{"op":"update","table":"Row","where":[["_uuid","==",["uuid",")" +
                               uuid + R"("]]],"row":{)";
    append(out_, R"("key":)", key);
    append(out_, R"(,"generation":)", row.generation());
    append(out_, R"(,"stamp":)", row.stamp());
    append(out_, R"(,"a":)", row.a());
    append(out_, R"(,"b":)", row.b());
    append(out_, R"(,"c":)", row.c());
    out_ += "}}";
    keys_.push_back(key);
  }
  void send() {
    std::string request = R"({"method":"transact","params":["Bench")" + std::exchange(out_, {});
    append(request, R"(],"id":)", ++id_);
    connection_.send(request + "}");
    underWay_.push_back(std::exchange(keys_, {}));
    if (underWay_.size() == windowSize) takeReply();
  }
  /// Inserted rows are told by their UUIDs, in order.
  void takeReply() {
    constexpr std::string_view label = R"(["uuid",")";
    constexpr std::size_t uuidLength = 36;
    const std::string_view reply = connection_.take();
    std::size_t at = 0;
    for (const RowKey key : underWay_.front()) {
      if (!uuids_[key].empty()) continue;
      at = reply.find(label, at);
      if (at == std::string_view::npos) throw std::runtime_error("ovsdb-server gave no UUID");
      uuids_[key] = reply.substr(at += label.size(), uuidLength);
    }
    underWay_.erase(underWay_.begin());
  }

  Connection connection_;
  std::string out_;
  std::vector<RowKey> keys_;                   // of the transaction in out_
  std::vector<std::vector<RowKey>> underWay_;  // of those that were sent, oldest first
  std::vector<std::string> uuids_;             // by key; empty before it is inserted
  std::uint64_t id_ = 0;
};

class Reader {
 public:
  explicit Reader(const std::string& path) : connection_(path) {
    connection_.send(monitor);
    connection_.take();
  }

  Answer handle(const Command& task) {
    constexpr std::string_view label = R"("new":)";
    tally_.expect(task);
    while (!tally_.complete()) {
      std::string_view message = connection_.take();
      for (std::size_t at; (at = message.find(label)) != std::string_view::npos;) {
        message.remove_prefix(at + label.size());
        const std::string_view row = message.substr(0, message.find('}'));
        tally_.heard(numberBehind(row, R"("key":)"), numberBehind(row, R"("generation":)"),
                     numberBehind(row, R"("stamp":)"));
      }
    }
    return tally_.answer();
  }

 private:
  Connection connection_;
  Tally tally_;
};

}  // namespace

OvsdbChain::OvsdbChain() {
  const std::string path = scratch_.path("socket");
  const std::string database = scratch_.path("database");
  std::ofstream(scratch_.path("schema")) << schema;
  if (std::system(("ovsdb-tool create " + database + " " + scratch_.path("schema")).c_str()) != 0)
    throw std::runtime_error("ovsdb-tool failed");
  server_ = std::make_unique<Process>(
      "ovsdb", serverCore,
      program({"ovsdb-server", "--remote=punix:" + path, "--unixctl=" + scratch_.path("control"),
               "--no-chdir", "-vANY:ANY:off", database}));
  writer_ = std::make_unique<Worker>("ovsdb-writer", writerCore, roleOf<Writer>(path));
  reader_ = std::make_unique<Worker>("ovsdb-reader", readerCore, roleOf<Reader>(path));
  reader_->call({});  // follows the table
}

}  // namespace Bench
