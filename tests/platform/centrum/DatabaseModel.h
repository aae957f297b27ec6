/// What the tests of the database and of its log share: content as a tree of maps, random changes
/// of it, and readers that follow a path at a random pace and check all they are told.
#pragma once

#include <gtest/gtest.h>

#include <map>
#include <memory>
#include <optional>
#include <random>
#include <string>
#include <utility>

#include "platform/centrum/Database.h"
#include "platform/forma/AttributeLog.h"

namespace DatabaseModel {

using Centrum::Cursor;
using Centrum::Database;
using Centrum::Path;
using Centrum::Sequence;
using Forma::LogOp;
using Forma::LogRecord;

struct Node {
  bool child = false;
  std::string value;
  std::map<std::pair<int, std::string>, Node> content;
  std::uint64_t stated = 0;  // generation
  Sequence changed = 0;      // of the truth: the last change; of a reader: when it was told

  bool operator==(const Node& o) const {
    return child == o.child && value == o.value && content == o.content;
  }
  const Node* find(const LogRecord& r) const {
    const auto found = content.find({r.member, std::string(r.key)});
    return found == content.end() ? nullptr : &found->second;
  }
  Node& at(const LogRecord& r) { return content[{r.member, std::string(r.key)}]; }
  void erase(const LogRecord& r) { content.erase({r.member, std::string(r.key)}); }
  void dropBefore(std::uint64_t generation) {
    std::erase_if(content, [&](const auto& one) { return one.second.stated < generation; });
  }
  std::size_t cells() const {
    std::size_t n = content.size();
    for (const auto& [key, node] : content) n += node.cells();
    return n;
  }
  std::size_t bytes() const {
    std::size_t n = 0;
    for (const auto& [key, node] : content)
      n += key.second.size() + node.value.size() + node.bytes();
    return n;
  }
  template <class F>
  void eachBelow(F f) {
    for (auto& [key, node] : content) {
      f(node);
      node.eachBelow(f);
    }
  }
};

/// The content of a path as it ought to be.
struct Truth {
  Node root;

  void apply(std::string_view records, bool renew, Sequence at) {
    Forma::BytesIn in(records);
    apply(root, in, renew ? ++generation_ : 0, at);
  }

 private:
  void apply(Node& node, Forma::BytesIn& in, std::uint64_t generation, Sequence at) {
    while (!in.atEnd()) {
      const LogRecord r = Forma::takeRecord(in);
      if (r.op == LogOp::end) break;
      if (r.op == LogOp::erase) {
        node.erase(r);
        continue;
      }
      const bool child = r.op != LogOp::put;
      Node& one = node.at(r);
      if (one.changed == 0 || one.child != child || one.value != r.value) {
        one.changed = at;
        if (!child) one.content.clear();
        one.eachBelow([at](Node& below) { below.changed = at; });
      }
      one.child = child;
      one.value = r.value;
      one.stated = generation;
      if (child) apply(one, in, r.op == LogOp::renew ? ++generation_ : generation, at);
    }
    if (generation != 0) node.dropBefore(generation);
  }

  std::uint64_t generation_ = 0;
};

using Random = std::mt19937;
inline int below(Random& random, int n) { return static_cast<int>(random() % unsigned(n)); }

/// Random operations, nested up to 3 deep; now and then a value takes a child's place, or so many
/// elements come that their going makes the database forget.
inline void appendChanges(Random& random, std::string& out, int depth = 0) {
  static int unique = 0;
  const bool flood = below(random, 300) == 0;
  for (int n = flood ? 5000 : below(random, 5); n > 0; --n) {
    const std::string key = flood ? std::to_string(++unique) : std::string(1, "abcd"[random() % 4]);
    const auto nested = static_cast<std::uint8_t>(below(random, 20) == 0 ? 1 : 2);
    const std::string value(random() % 4 * 10, "xyz"[random() % 3]);
    const int kind = flood ? 0 : below(random, depth == 3 ? 6 : 10);
    if (kind < 4)
      Forma::appendRecord(out, {LogOp::put, flood ? nested : std::uint8_t{1}, key, value});
    else if (kind < 6) Forma::appendRecord(out, {LogOp::erase, nested, key, {}});
    if (kind < 6) continue;
    const std::string arguments = below(random, 4) == 0 ? "other" : "";
    Forma::appendRecord(out, {kind < 9 ? LogOp::create : LogOp::renew, nested, key, arguments});
    appendChanges(random, out, depth + 1);
    Forma::appendRecord(out, {LogOp::end, 0, {}, {}});
  }
}

/// One reader with its copy.
class Reader {
 public:
  Reader(Database& database, Path& path, const Truth& truth) : truth_(truth) {
    attach(database, path);
    begin();
  }

  Sequence sequence() const { return snapshot_ ? 0 : cursor_->sequence(); }
  int snapshots() const { return snapshots_; }

  void detach() {
    since_ = sequence();
    cursor_.reset();
  }
  /// Goes on where it was, as far as the database knows where that is.
  void attach(Database& database, Path& path) {
    database_ = &database;
    cursor_.emplace(path);
    if (since_ == 0 || !cursor_->toSequence(since_)) return begin();
    root_.eachBelow([this](Node& node) { node.changed = std::min(node.changed, since_); });
  }
  /// Nothing, a bit, or all there is.
  void readSome(Random& random) {
    if (below(random, 8) == 0) return readAll(random);
    for (int n = below(random, 3); n > 0; --n) read(1 + random() % 60);
  }
  void readAll(Random& random) {
    while (read(1 + random() % 3000)) continue;
    EXPECT_TRUE(root_ == truth_.root);
  }

 private:
  void begin() {
    cursor_->toHead();
    snapshot_ = begin_ = true;
    ++snapshots_;
  }
  /// Takes one piece. False when there is none.
  bool read(std::size_t size) {
    if (cursor_->lost()) begin();
    const bool first = std::exchange(begin_, false);
    const auto piece = cursor_->path().nextDelta(*cursor_, size, snapshot_, first);
    if (!piece) {
      EXPECT_TRUE(cursor_->atEnd());
      return false;
    }
    Centrum::FrameReader frames;
    piece->copy(frames.room(piece->size()), piece->size());
    frames.added(piece->size());
    Centrum::Message::Any message;
    while (frames.next(message)) take(std::get<Centrum::Message::Delta>(message));
    return true;
  }
  void take(const Centrum::Message::Delta& delta) {
    EXPECT_EQ(delta.path, cursor_->path().id());
    if (delta.begin) {
      ++generation_;
      root_.eachBelow([](Node& node) { node.changed = 0; });
    }
    Forma::checkRecords(delta.records);
    Forma::BytesIn in(delta.records);
    take(root_, &truth_.root, in);
    if (!delta.end) return;
    EXPECT_TRUE(snapshot_);
    snapshot_ = false;
    root_.eachBelow([this](Node& node) { node.dropBefore(generation_); });
    root_.dropBefore(generation_);
  }
  /// All that it is told is so at present, and new to it.
  void take(Node& node, const Node* truth, Forma::BytesIn& in) {
    while (!in.atEnd()) {
      const LogRecord r = Forma::takeRecord(in);
      if (r.op == LogOp::end) return;
      const Node* so = truth->find(r);
      ASSERT_EQ(so != nullptr, r.op != LogOp::erase) << r.key;
      if (r.op == LogOp::erase) {
        node.erase(r);
        continue;
      }
      ASSERT_EQ(so->value, r.value);
      ASSERT_EQ(so->child, r.op == LogOp::create);
      Node& one = node.at(r);
      const bool same = one.changed != 0 && one.child == so->child && one.value == so->value;
      if (one.child != so->child || one.value != so->value) one.content.clear();  // made again
      EXPECT_TRUE(so->child || !same || so->changed > one.changed) << r.key << " told again";
      one.child = so->child;
      one.value = so->value;
      one.stated = generation_;
      one.changed = database_->sequence();
      if (one.child) take(one, so, in);
    }
  }

  const Truth& truth_;
  Database* database_ = nullptr;
  std::optional<Cursor> cursor_;
  Node root_;
  Sequence since_ = 0;
  bool snapshot_ = false;
  bool begin_ = false;
  int snapshots_ = 0;
  std::uint64_t generation_ = 0;
};

}  // namespace DatabaseModel
