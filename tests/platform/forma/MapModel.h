/// What the tests of maps share: elements that are counted and can fail to be
/// copied, hashes good and bad, and random steps with open walks against a
/// std::map.
#pragma once

#include <gtest/gtest.h>

#include <cstdint>
#include <list>
#include <map>
#include <memory>
#include <optional>
#include <random>
#include <set>
#include <stdexcept>
#include <utility>

#include "platform/forma/SlotMap.h"

namespace MapModel {

inline int copiesLeft = -1;  // until copying a Number fails; -1: it does not

/// A number that knows how many of its kind are alive, and whose copying fails
/// on demand.
template <bool movable>
struct Number {
  static inline int alive = 0;
  int n;

  explicit Number(int of) : n(of) { ++alive; }
  Number(const Number& other) : n(other.n) {
    if (copiesLeft == 0) throw std::runtime_error("no more copies");
    if (copiesLeft > 0) --copiesLeft;
    ++alive;
  }
  Number(Number&& other) noexcept(movable) requires movable : n(std::exchange(other.n, -1)) {
    ++alive;
  }
  Number& operator=(const Number&) = default;
  Number& operator=(Number&& other) noexcept requires movable {
    n = std::exchange(other.n, -1);
    return *this;
  }
  ~Number() { --alive; }

  bool operator==(const Number& other) const { return n == other.n; }
  bool operator<(const Number& other) const { return n < other.n; }
  std::uint64_t hash() const { return Forma::hashOf(n); }
};
using Counted = Number<true>;
using CopyOnly = Number<false>;

template <class T>
int numberOf(const T& v) {
  if constexpr (std::is_integral_v<T>) return static_cast<int>(v);
  else return v.n;
}

struct IdentityHash {
  template <class K>
  std::uint64_t operator()(const K& key) const {
    return static_cast<std::uint64_t>(numberOf(key));
  }
};
struct ConstantHash {
  template <class K>
  std::uint64_t operator()(const K&) const {
    return 7;
  }
};

using Reference = std::map<int, int>;

template <class Map>
Reference contentOf(const Map& map) {
  Reference content;
  map.forEach([&](const auto& k, const auto& v) {
    EXPECT_TRUE(content.emplace(numberOf(k), numberOf(v)).second);
  });
  return content;
}

/// Random changes of a map of keys below `keys`, with up to four walks open at
/// any time. `inOrder` maps promise that each step of a walk goes to the next
/// key that there is, the others that a walk visits nothing that was added
/// after its start.
template <class Map, class K, class V, bool inOrder>
class Steps {
 public:
  Steps(unsigned seed, int keys) : random_(seed), keys_(keys) {}

  void run(int steps) {
    for (int i = 0; i < steps && !testing::Test::HasFailure(); ++i) step();
    while (!walks_.empty()) advance();
    EXPECT_EQ(contentOf(map_), model_);
  }

 private:
  struct Walk {
    explicit Walk(const Map& map) : cursor(map) {}
    typename Map::Cursor cursor;
    std::set<int> due;   // there from the start until now, and not visited
    std::set<int> seen;  // visited and there ever since
    std::optional<int> last;
    bool disturbed = false;  // the whole content was replaced
  };

  int below(int n) { return std::uniform_int_distribution<>(0, n - 1)(random_); }

  void step() {
    const int key = below(keys_), value = below(1000), kind = below(100);
    // Growing and shrinking phases, so that maps of all sizes come up, and
    // empty ones often.
    const bool shrinking = (++count_ / (4 * keys_)) % 2 != 0;
    if (kind < (shrinking ? 10 : 30)) {
      const bool added = insert(key, value);
      EXPECT_EQ(added, model_.emplace(key, value).second);
    } else if (kind < (shrinking ? 15 : 50)) {
      EXPECT_EQ(map_.put(K(key), V(value)), model_.insert_or_assign(key, value).second);
    } else if (kind < 60) {
      take(key);
    } else if (kind < 75) {
      lookUp(key);
    } else if (kind < 78) {
      changeWhole(below(6));
    } else if (kind < 83) {
      openOrClose();
    } else if (!walks_.empty()) {
      advance();
    }
    EXPECT_EQ(map_.size(), model_.size());
    EXPECT_EQ(map_.empty(), model_.empty());
    EXPECT_TRUE(!walks_.empty() || !model_.empty() || map_.bytes() == 0);
  }

  /// Elements that cannot be moved fail at each of their copies, and change nothing, at first.
  bool insert(int key, int value) {
    const std::shared_ptr<void> ends(nullptr, [](void*) { copiesLeft = -1; });
    for (int copies = 0;; ++copies) {
      try {
        copiesLeft = copies;
        return map_.insert(K(key), V(value)).second;
      } catch (const std::runtime_error&) {
        copiesLeft = -1;
        EXPECT_EQ(contentOf(map_), model_);
      }
    }
  }
  void take(int key) {
    V out(-5);
    const auto at = model_.find(key);
    EXPECT_EQ(map_.take(K(key), &out), at != model_.end());
    EXPECT_EQ(numberOf(out), at != model_.end() ? at->second : -5);
    model_.erase(key);
    for (Walk& walk : walks_) walk.due.erase(key), walk.seen.erase(key);
  }
  void lookUp(int key) {
    const V* at = std::as_const(map_).find(K(key));
    EXPECT_EQ(map_.contains(K(key)), at != nullptr);
    EXPECT_EQ(at ? std::optional(numberOf(*at)) : std::nullopt, valueOf(model_.find(key)));
    if constexpr (inOrder) {
      const auto same = [&](const K* k, auto m) {
        return m == model_.end() ? !k : k && numberOf(*k) == m->first;
      };
      EXPECT_TRUE(same(map_.first(), model_.begin()));
      EXPECT_TRUE(same(map_.lowerBound(K(key)), model_.lower_bound(key)));
      EXPECT_TRUE(same(map_.after(K(key)), model_.upper_bound(key)));
    }
  }
  std::optional<int> valueOf(Reference::iterator at) const {
    return at == model_.end() ? std::nullopt : std::optional(at->second);
  }

  void changeWhole(int kind) {
    Map copy(map_);
    EXPECT_EQ(contentOf(copy), model_);
    if (kind == 0 && !model_.empty()) map_.reserve(map_.size() + 20);
    if (kind == 0 || kind > 4) return;
    if (kind == 1) map_.clear(), model_.clear();
    if (kind == 2) map_ = copy;
    if (kind == 3) map_ = std::move(copy);
    if (kind == 4) {
      const Map away(std::move(map_));
      EXPECT_EQ(contentOf(away), model_);
      model_.clear();
    }
    for (Walk& walk : walks_) walk.due.clear(), walk.seen.clear(), walk.disturbed = true;
  }

  void openOrClose() {
    if (walks_.size() == 4 || (!walks_.empty() && below(3) == 0)) return walks_.pop_back();
    walks_.emplace_back(map_);
    for (const auto& element : model_) walks_.back().due.insert(element.first);
  }
  void advance() {
    walks_.splice(walks_.end(), walks_,
                  walks_.begin());  // each walk in its turn
    Walk& walk = walks_.back();
    const auto next = walk.last ? model_.upper_bound(*walk.last) : model_.begin();
    if (walk.cursor.done()) {
      EXPECT_TRUE(walk.due.empty());
      EXPECT_TRUE(!inOrder || next == model_.end());
      return walks_.pop_back();
    }
    const auto [k, v] = *walk.cursor;
    const int key = numberOf(k);
    EXPECT_EQ(valueOf(model_.find(key)), numberOf(v)) << key;
    EXPECT_TRUE(walk.seen.insert(key).second) << key << " visited twice";
    const bool wasDue = walk.due.erase(key) == 1;
    if (inOrder) EXPECT_EQ(key, next == model_.end() ? -1 : next->first);
    else EXPECT_TRUE(wasDue || walk.disturbed) << key << " was added meanwhile";
    walk.last = key;
    if (below(4) == 0) take(key);  // as the body of a loop may do
    walk.cursor.next();
  }

  std::mt19937 random_;
  int keys_;
  int count_ = 0;
  Map map_;
  Reference model_;
  std::list<Walk> walks_;  // after the map: they end first
};

/// Runs small and large maps and checks that no element was lost or destroyed
/// twice.
template <template <class, class, class> class Map, class K, class Hash, bool inOrder>
void checkAgainstModel() {
  for (const int keys : {3, 20, 60, 500}) {
    for (unsigned seed = 1; seed <= 4; ++seed) {
      SCOPED_TRACE(testing::Message() << "seed " << seed << ", keys " << keys);
      Steps<Map<K, K, Hash>, K, K, inOrder>(seed, keys).run(6000);
      if (testing::Test::HasFailure()) return;
    }
  }
  EXPECT_EQ(Counted::alive + CopyOnly::alive, 0);
}
template <template <class, class, class> class Map, bool inOrder>
void checkAgainstModelForGoodAndBadHashes() {
  checkAgainstModel<Map, Counted, Forma::DefaultHash, inOrder>();
  checkAgainstModel<Map, Counted, IdentityHash, inOrder>();
  checkAgainstModel<Map, Counted, ConstantHash, inOrder>();
  checkAgainstModel<Map, CopyOnly, Forma::DefaultHash, inOrder>();
  checkAgainstModel<Map, std::int32_t, Forma::DefaultHash, inOrder>();
}

}  // namespace MapModel
