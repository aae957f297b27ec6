/// What it costs to change an entity, unobserved and observed. An iteration is one change (of
/// `insertDelete` two); the size is the number of observers, each of which does next to nothing.
///
/// Peers     bare      the store or the map operation alone, with nobody who could be told;
///           virtual   the same and a loop over a vector of virtual observers: the floor;
///           signals2  the same and a boost::signals2 signal as it comes.
#include <benchmark/benchmark.h>

#include <algorithm>
#include <boost/signals2.hpp>
#include <cstdint>
#include <memory>
#include <random>
#include <string>
#include <vector>

#include "platform/forma/Declare.h"

namespace Bench {

/// Entities like those of the library: a flag-like attribute and values by key.
class Switch : public Forma::Entity {
  FORMA_ENTITY(Bench::Switch, Forma::Entity, speed, weight)
  FORMA_ATTRIBUTE(std::uint64_t, speed, onSpeed)
  FORMA_VALUES(std::uint64_t, std::uint64_t, weight, newWeight, onWeight)

 public:
  class NotifieeConst : public Forma::NotifieeOf<Switch> {
   public:
    virtual void onSpeed() {}
    virtual void onWeight(const std::uint64_t& /*key*/) {}
  };
  Switch() = default;
};
FORMA_DEFINE_ENTITY(Bench::Switch)

namespace {

constexpr std::size_t keyCount = 1024;

/// Keys in a random order, for operations to go round.
const std::vector<std::uint64_t>& keys() {
  static const std::vector<std::uint64_t> all = [] {
    std::vector<std::uint64_t> made(keyCount);
    for (std::size_t i = 0; i < keyCount; ++i) made[i] = 16 + i;
    std::shuffle(made.begin(), made.end(), std::mt19937(1));
    return made;
  }();
  return all;
}

// Two classes of observers, so that no call can be seen through.
struct Adder : Switch::NotifieeConst {
  void onSpeed() override { ++sum; }
  void onWeight(const std::uint64_t& key) override { sum += key; }
  std::uint64_t sum = 0;
};
struct Xorer : Switch::NotifieeConst {
  void onSpeed() override { sum ^= 1; }
  void onWeight(const std::uint64_t& key) override { sum ^= key; }
  std::uint64_t sum = 0;
};

struct Observer {
  virtual ~Observer() = default;
  virtual void on(const std::uint64_t& key) = 0;
};
struct BareAdder : Observer {
  void on(const std::uint64_t& key) override { sum += key; }
  std::uint64_t sum = 0;
};
struct BareXorer : Observer {
  void on(const std::uint64_t& key) override { sum ^= key; }
  std::uint64_t sum = 0;
};

template <class Base, class Even, class Odd>
[[gnu::noinline]] std::unique_ptr<Base> observer(std::int64_t i) {
  if (i % 2 == 0) return std::make_unique<Even>();
  return std::make_unique<Odd>();
}

/// Ours: an entity and its notifiees.
class Observed {
 public:
  static constexpr const char* name = "Forma";
  explicit Observed(std::int64_t observers) {
    for (std::int64_t i = 0; i < observers; ++i) {
      all_.push_back(observer<Switch::NotifieeConst, Adder, Xorer>(i));
      all_.back()->notifierIs(entity_);
    }
  }
  void speedIs(std::uint64_t v) { entity_->speedIs(v); }
  void weightIs(std::uint64_t key, std::uint64_t v) { entity_->weightIs(key, v); }
  void weightDel(std::uint64_t key) { entity_->weightDel(key); }

  void registerOne() {
    Adder one;
    one.notifierIs(entity_);
    benchmark::ClobberMemory();
  }

 private:
  Forma::Ptr<Switch> entity_{new Switch};
  std::vector<std::unique_ptr<Switch::NotifieeConst>> all_;
};

/// A peer: the same data, and `Tell` to tell of changes.
template <class Tell>
class Peer {
 public:
  static constexpr const char* name = Tell::name;
  explicit Peer(std::int64_t observers) : tell_(observers) {}
  void speedIs(std::uint64_t v) {
    speed_ = v;
    tell_(v);
  }
  void weightIs(std::uint64_t key, std::uint64_t v) {
    weight_.put(key, v);
    tell_(key);
  }
  void weightDel(std::uint64_t key) {
    weight_.erase(key);
    tell_(key);
  }
  void registerOne() { tell_.registerOne(); }

 private:
  std::uint64_t speed_ = 0;
  Forma::HashMap<std::uint64_t, std::uint64_t> weight_;
  Tell tell_;
};

struct Bare {
  static constexpr const char* name = "bare";
  explicit Bare(std::int64_t) {}
  void operator()(const std::uint64_t&) {}
};

struct Virtual {
  static constexpr const char* name = "virtual";
  explicit Virtual(std::int64_t observers) {
    for (std::int64_t i = 0; i < observers; ++i)
      all.push_back(observer<Observer, BareAdder, BareXorer>(i));
  }
  void operator()(const std::uint64_t& key) {
    for (const auto& one : all) one->on(key);
  }
  void registerOne() {
    all.push_back(std::make_unique<BareAdder>());
    benchmark::ClobberMemory();
    all.pop_back();
  }
  std::vector<std::unique_ptr<Observer>> all;
};

struct Signals2 {
  static constexpr const char* name = "signals2";
  explicit Signals2(std::int64_t observers) {
    for (std::int64_t i = 0; i < observers; ++i) connect(i).release();
  }
  void operator()(const std::uint64_t& key) { signal(key); }
  void registerOne() {
    connect(0);
    benchmark::ClobberMemory();
  }
  struct Scoped {
    ~Scoped() { connection.disconnect(); }
    void release() { connection = {}; }
    boost::signals2::connection connection;
  };
  Scoped connect(std::int64_t i) {
    std::uint64_t sum = 0;
    if (i % 2 == 0)
      return {signal.connect([sum](const std::uint64_t& key) mutable { sum += key; })};
    return {signal.connect([sum](const std::uint64_t& key) mutable { sum ^= key; })};
  }
  boost::signals2::signal<void(const std::uint64_t&)> signal;
};

/// Runs `change(subject, key, number)` over the keys, with a number that is new each time.
template <class Subject, class Change>
void run(benchmark::State& state, Subject& subject, Change change) {
  std::uint64_t number = 0;
  while (state.KeepRunningBatch(keyCount))
    for (const std::uint64_t key : keys()) {
      change(subject, key, ++number);
      benchmark::ClobberMemory();
    }
}

template <class Subject>
void attribute(benchmark::State& state, std::int64_t observers) {
  Subject subject(observers);
  run(state, subject, [](Subject& s, std::uint64_t, std::uint64_t v) { s.speedIs(v); });
}

template <class Subject>
void value(benchmark::State& state, std::int64_t observers) {
  Subject subject(observers);
  for (const std::uint64_t key : keys()) subject.weightIs(key, 0);
  run(state, subject, [](Subject& s, std::uint64_t key, std::uint64_t v) { s.weightIs(key, v); });
}

/// Of keys that lie among others which stay.
template <class Subject>
void insertDelete(benchmark::State& state, std::int64_t observers) {
  Subject subject(observers);
  for (const std::uint64_t key : keys()) subject.weightIs(key + 2 * keyCount, 0);
  run(state, subject, [](Subject& s, std::uint64_t key, std::uint64_t v) {
    s.weightIs(key, v);
    s.weightDel(key);
  });
}

/// One more observer comes and goes.
template <class Subject>
void registration(benchmark::State& state, std::int64_t observers) {
  Subject subject(observers);
  run(state, subject, [](Subject& s, std::uint64_t, std::uint64_t) { s.registerOne(); });
}

using Operation = void (*)(benchmark::State&, std::int64_t);

void add(const char* op, const char* who, Operation measure, std::vector<std::int64_t> sizes) {
  for (const std::int64_t observers : sizes)
    benchmark::RegisterBenchmark(
        (std::string("Notify/") + op + '/' + who + '/' + std::to_string(observers)).c_str(),
        [=](benchmark::State& state) { measure(state, observers); });
}

template <class Subject>
void addFor(const std::vector<std::int64_t>& sizes) {
  add("attribute", Subject::name, attribute<Subject>, sizes);
  add("value", Subject::name, value<Subject>, sizes);
  add("insertDelete", Subject::name, insertDelete<Subject>, sizes);
}

const bool added = [] {
  addFor<Observed>({0, 1, 4});
  addFor<Peer<Bare>>({0});
  addFor<Peer<Virtual>>({0, 1, 4});
  addFor<Peer<Signals2>>({1, 4});
  add("register", "Forma", registration<Observed>, {0, 4});
  add("register", "virtual", registration<Peer<Virtual>>, {0, 4});
  add("register", "signals2", registration<Peer<Signals2>>, {0, 4});
  return true;
}();

}  // namespace
}  // namespace Bench
