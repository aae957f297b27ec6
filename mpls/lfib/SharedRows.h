/// Rows that are the same for all who want the same content, under a number of the writer's choice.
///
/// Thread    one.
/// Cost      constant time for everything but unused(), which looks at all.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <random>
#include <vector>

#include "platform/forma/Hash.h"
#include "platform/forma/HashMap.h"

namespace Mpls {

/// `Content` is compared by `==`, and has a hash.
template <class Content>
class SharedRows {
 public:
  struct Row {
    Content content;
    std::uint32_t index;
    std::uint32_t users = 0;
  };

  std::size_t size() const { return byIndex_.size(); }
  /// Makes room for so many rows.
  void reserve(std::size_t rows) {
    byIndex_.reserve(rows);
    byContent_.reserve(rows);
  }
  /// Null when there is none.
  Row* find(const Content& content) const {
    Row* const* const found = byContent_.find({&content});
    return found == nullptr ? nullptr : *found;
  }
  Row* at(std::uint32_t index) const {
    const std::unique_ptr<Row>* const found = byIndex_.find(index);
    return found == nullptr ? nullptr : found->get();
  }

  /// A number that no row has. They are given in turn, so that of a row that went comes last: who
  /// still holds it finds nothing under it, rather than other content. What an earlier process gave
  /// and freed nobody knows, so they begin anywhere.
  std::uint32_t freeIndex() {
    do ++last_;
    while (at(last_) != nullptr);
    return last_;
  }

  /// `index` is free. When several rows have the same content the first one is found by it.
  Row& add(std::uint32_t index, Content content) {
    auto made = std::make_unique<Row>(Row{std::move(content), index});
    Row& row = *made;
    byIndex_.put(index, std::move(made));
    byContent_.insert({&row.content}, &row);
    return row;
  }
  void remove(Row& row) {
    if (find(row.content) == &row) byContent_.erase({&row.content});
    byIndex_.erase(row.index);
  }
  std::vector<Row*> unused() const {
    std::vector<Row*> rows;
    byIndex_.forEach([&rows](std::uint32_t, const std::unique_ptr<Row>& row) {
      if (row->users == 0) rows.push_back(row.get());
    });
    return rows;
  }

 private:
  /// The content where it lies in its row.
  struct ContentKey {
    const Content* content;
    bool operator==(const ContentKey& o) const { return *content == *o.content; }
    std::uint64_t hash() const { return Forma::hashOf(*content); }
  };

  Forma::HashMap<std::uint32_t, std::unique_ptr<Row>> byIndex_;
  Forma::HashMap<ContentKey, Row*> byContent_;
  std::uint32_t last_ = std::random_device()();
};

}  // namespace Mpls
