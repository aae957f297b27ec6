/// The in-process maps compared: Forma::HashMap, absl::flat_hash_map and std::unordered_map with
/// 8-byte keys and 48-byte rows. An iteration is one operation on one key. Each operation takes the
/// keys in a random order of its own, so that nobody gets a sequential walk for free.
#include <absl/container/flat_hash_map.h>
#include <benchmark/benchmark.h>

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <memory>
#include <random>
#include <string>
#include <unordered_map>
#include <utility>
#include <vector>

#include "platform/forma/HashMap.h"

namespace {

struct Key {
  std::uint64_t bits;  // label; metric in bits 32 to 39

  std::uint32_t label() const { return static_cast<std::uint32_t>(bits); }
  std::uint64_t hash() const { return Forma::hashOf(bits); }
  bool operator==(const Key&) const = default;
  template <class H>
  friend H AbslHashValue(H h, Key k) {
    return H::combine(std::move(h), k.bits);
  }
};

struct StdHash {
  std::size_t operator()(Key k) const { return k.hash(); }
};

struct Row {
  std::uint32_t label;
  std::uint16_t metric;
  std::uint16_t flags;  // always 0, which neither compiler nor processor knows
  std::uint32_t outLabel;
  std::uint32_t interface;
  std::uint8_t nextHop[16];
  std::uint64_t sequence;
  std::uint64_t check;
};
static_assert(sizeof(Row) == 48);

[[gnu::always_inline]] inline Row rowOf(Key k, std::uint64_t sequence) {
  Row r{};
  r.label = k.label();
  r.metric = static_cast<std::uint16_t>(k.bits >> 32);
  r.outLabel = k.label() + 100000;
  r.interface = k.label() & 63;
  std::memcpy(r.nextHop, &k, sizeof k);
  r.sequence = sequence;
  r.check = Forma::mix(k.bits, sequence);
  return r;
}

using Keys = std::vector<Key>;

/// The keys in a random order; `away` makes them absent ones that lie among the others.
Keys shuffled(std::uint32_t n, unsigned seed, std::uint32_t away = 0) {
  Keys keys(n);
  for (std::uint32_t i = 0; i < n; ++i) {
    const std::uint64_t label = 16 + i;
    keys[i] = Key{label | (10 + ((label + away) & 3)) << 32};
  }
  std::shuffle(keys.begin(), keys.end(), std::mt19937(seed));
  return keys;
}

struct Forma_ {
  static constexpr const char* name = "Forma";
  using Map = Forma::HashMap<Key, Row>;
  [[gnu::always_inline]] static void insert(Map& m, Key k, const Row& r) { m.insert(k, r); }
  [[gnu::always_inline]] static const Row* find(const Map& m, Key k) { return m.find(k); }
  [[gnu::always_inline]] static void overwrite(Map& m, Key k, const Row& r) { m.put(k, r); }
  [[gnu::always_inline]] static void erase(Map& m, Key k) { m.erase(k); }
  template <class F>
  static void iterate(const Map& m, F f) {
    m.forEach([&f](const Key&, const Row& r) { f(r); });
  }
};

template <class Table>
struct Peer {
  using Map = Table;
  [[gnu::always_inline]] static void insert(Map& m, Key k, const Row& r) { m.emplace(k, r); }
  [[gnu::always_inline]] static const Row* find(const Map& m, Key k) {
    const auto at = m.find(k);
    return at == m.end() ? nullptr : &at->second;
  }
  [[gnu::always_inline]] static void overwrite(Map& m, Key k, const Row& r) {
    m.find(k)->second = r;
  }
  [[gnu::always_inline]] static void erase(Map& m, Key k) { m.erase(k); }
  template <class F>
  static void iterate(const Map& m, F f) {
    for (const auto& element : m) f(element.second);
  }
};
struct Absl : Peer<absl::flat_hash_map<Key, Row>> {
  static constexpr const char* name = "absl";
};
struct Std : Peer<std::unordered_map<Key, Row, StdHash>> {
  static constexpr const char* name = "std";
};

template <class T>
void fill(typename T::Map& m, const Keys& keys) {
  for (const Key k : keys) T::insert(m, k, rowOf(k, 1));
}

void copyOut(const Row* from) {
  if (from == nullptr) return;
  Row row = *from;
  benchmark::DoNotOptimize(row);
}

template <class T>
void insert(benchmark::State& state, std::uint32_t n) {
  const Keys keys = shuffled(n, 1);
  while (state.KeepRunningBatch(n)) {
    auto map = std::make_unique<typename T::Map>();
    fill<T>(*map, keys);
    state.PauseTiming();
    map.reset();
    state.ResumeTiming();
  }
}

/// Passes over a map that is full at the start.
template <class T, class Pass>
void onFull(benchmark::State& state, std::uint32_t n, Pass pass) {
  typename T::Map map;
  map.reserve(n);
  fill<T>(map, shuffled(n, 1));
  pass(map);  // to warm up
  while (state.KeepRunningBatch(n)) pass(map);
}

template <class T>
void lookup(benchmark::State& state, std::uint32_t n) {
  onFull<T>(state, n, [keys = shuffled(n, 2)](const auto& map) {
    for (const Key k : keys) copyOut(T::find(map, k));
  });
}

template <class T>
void dependent(benchmark::State& state, std::uint32_t n) {
  onFull<T>(state, n, [keys = shuffled(n, 2)](const auto& map) {
    std::uint16_t zero = 0;
    for (Key k : keys) {
      k.bits += zero;
      Row row = *T::find(map, k);
      benchmark::DoNotOptimize(row);
      zero = row.flags;
    }
  });
}

template <class T>
void miss(benchmark::State& state, std::uint32_t n) {
  onFull<T>(state, n, [keys = shuffled(n, 5, 1)](const auto& map) {
    for (const Key k : keys) benchmark::DoNotOptimize(T::find(map, k) != nullptr);
  });
}

template <class T>
void overwrite(benchmark::State& state, std::uint32_t n) {
  onFull<T>(state, n, [keys = shuffled(n, 3), sequence = std::uint64_t{1}](auto& map) mutable {
    for (const Key k : keys) T::overwrite(map, k, rowOf(k, ++sequence));
  });
}

template <class T>
void iterate(benchmark::State& state, std::uint32_t n) {
  onFull<T>(state, n,
            [](const auto& map) { T::iterate(map, [](const Row& row) { copyOut(&row); }); });
}

template <class T>
void erase(benchmark::State& state, std::uint32_t n) {
  const Keys in = shuffled(n, 1), out = shuffled(n, 4);
  typename T::Map map;
  while (state.KeepRunningBatch(n)) {
    state.PauseTiming();
    map.reserve(n);
    fill<T>(map, in);
    state.ResumeTiming();
    for (const Key k : out) T::erase(map, k);
  }
}

using Operation = void (*)(benchmark::State&, std::uint32_t);

void add(const char* op, const char* map, Operation run) {
  for (const std::uint32_t n : {10'000U, 1'000'000U})
    benchmark::RegisterBenchmark(
        (std::string("HashMap/") + op + '/' + map + '/' + std::to_string(n)).c_str(),
        [run, n](benchmark::State& state) { run(state, n); });
}

template <class T>
void addFor() {
  add("insert", T::name, insert<T>);
  add("lookup", T::name, lookup<T>);
  add("dependent", T::name, dependent<T>);
  add("miss", T::name, miss<T>);
  add("overwrite", T::name, overwrite<T>);
  add("iterate", T::name, iterate<T>);
  add("erase", T::name, erase<T>);
}

const bool added = (addFor<Forma_>(), addFor<Absl>(), addFor<Std>(), true);

}  // namespace
