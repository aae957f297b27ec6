#include "platform/tarn/TableWriter.h"

#include <pthread.h>

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <mutex>
#include <random>
#include <set>
#include <system_error>
#include <utility>

#include "platform/tarn/TableCore.h"

namespace Tarn {

namespace {

constexpr double secondsBetweenChecks = 1;
constexpr std::size_t sparseFrom = 64;  // pages of the index

std::uint64_t newGeneration() {
  std::random_device random;
  return std::uint64_t{random()} << 32 | random();
}

double monotonicSeconds() {
  timespec now{};
  ::clock_gettime(CLOCK_MONOTONIC, &now);
  return static_cast<double>(now.tv_sec) + static_cast<double>(now.tv_nsec) * 1e-9;
}

enum class HeadIs { good, ofOtherRows, useless };

HeadIs judge(const Mapping& head, const TableShape& shape, const std::string& problem) {
  if (problem.empty()) return HeadIs::good;
  HeadFixed fixed;
  if (head.size < headBytes) return HeadIs::useless;
  std::memcpy(&fixed, head.data(), sizeof fixed);
  const bool whole = std::memcmp(fixed.magic, headMagic, sizeof headMagic) == 0 &&
                     fixed.layout == layoutVersion && fixed.check == checkFixed(fixed);
  return whole && fixed.schemaHash != shape.schemaHash ? HeadIs::ofOtherRows : HeadIs::useless;
}

}  // namespace

ResourceException::~ResourceException() = default;

// ---- What a forked child inherits ---------------------------------------------------------------

namespace {

/// Those that a child has no part in. The lock is held over a fork, so that it is whole after it.
struct Parents {
  std::mutex mutex;
  std::set<std::function<void()>*> disown;
};

Parents& parents() {
  static Parents* const all = [] {
    ::pthread_atfork([] { parents().mutex.lock(); }, [] { parents().mutex.unlock(); },
                     [] {
                       for (std::function<void()>* one : parents().disown) (*one)();
                       parents().mutex.unlock();
                     });
    return new Parents;
  }();
  return *all;
}

/// Calls `disown` in a child that is forked meanwhile.
class ForkWatch {
 public:
  explicit ForkWatch(std::function<void()> disown) : disown_(std::move(disown)) {
    Parents& all = parents();
    const std::lock_guard lock(all.mutex);
    all.disown.insert(&disown_);
  }
  ~ForkWatch() {
    Parents& all = parents();
    const std::lock_guard lock(all.mutex);
    all.disown.erase(&disown_);
  }
  ForkWatch(const ForkWatch&) = delete;
  ForkWatch& operator=(const ForkWatch&) = delete;

 private:
  std::function<void()> disown_;
};

}  // namespace

// ---- State --------------------------------------------------------------------------------------

class TableWriter::State {
 public:
  State(Storage& where, TableShape what, std::size_t rows, Report to);
  ~State() {
    if (core) core->stamp(false);
  }
  State(const State&) = delete;
  State& operator=(const State&) = delete;

  void mustBeOurs() const;
  void renew(const std::string& why);
  void turn();

  Storage& storage;
  const TableShape shape;
  const std::size_t initialRows;
  const Report report;
  TableView view;
  std::unique_ptr<TableCore> core;

 private:
  void open();
  void make();
  void moveAside(const std::string& why);
  void removeOthers(std::uint64_t generation);
  void clearAway(TableCore& old);
  bool isDue();
  bool isSparse() const;
  std::string place() const { return "table " + shape.name + " in " + storage.name(); }

  double checked_ = monotonicSeconds();
  std::unique_ptr<ForkWatch> forkWatch_;
};

TableWriter::State::State(Storage& where, TableShape what, std::size_t rows, Report to)
    : storage(where), shape(std::move(what)), initialRows(rows), report(std::move(to)) {
  if (const std::string problem = shapeProblem(shape); !problem.empty())
    Forma::throwRangeException(problem + " not allowed");
  if (initialRows == 0)
    Forma::throwRangeException(place() + ": an initial size of 0 rows not allowed; ask for the " +
                               "number of rows to expect, 1 or more");
  open();
  if (storage.isShared())
    forkWatch_ = std::make_unique<ForkWatch>([this] {
      static_cast<void>(core.release());  // its memory was not inherited
      view.clear();
    });
}

void TableWriter::State::open() {
  Opened head = storage.open(headName(shape.name), Access::write);
  if (!head.mapping) {
    if (head.error != ENOENT)
      throw std::system_error(head.error, std::generic_category(), place() + ": " + head.text);
    return make();
  }
  const auto* bytes = reinterpret_cast<const char*>(head.mapping.data());
  const std::string problem = headProblem({bytes, head.mapping.size}, shape);
  switch (judge(head.mapping, shape, problem)) {
    case HeadIs::good:
      core = std::make_unique<TableCore>(storage, view, std::move(head.mapping), report);
      if (core->adopted()) return removeOthers(core->fixed().generation);
      view.clear();
      core.reset();
      return moveAside("its index is damaged");
    case HeadIs::ofOtherRows:
      Forma::throwAccessException(place() + ": " + problem +
                                  "; remove its files when the old rows are not needed");
    case HeadIs::useless:
      return moveAside(problem);
  }
}

/// Starts afresh, and keeps what was there for whoever wants to know.
void TableWriter::State::moveAside(const std::string& why) {
  std::vector<std::string> names;
  for (std::string& name : storage.files())
    if (name.starts_with(shape.name + ".")) names.push_back(std::move(name));
  const std::string where = storage.moveAside(names);
  if (report) report(place() + ": " + why + "; its files were moved to " + where);
  make();
}

void TableWriter::State::make() {
  const std::uint64_t generation = newGeneration();
  try {
    core = std::make_unique<TableCore>(storage, view, shape, generation, initialRows, report);
    core->publish();
  } catch (...) {
    core.reset();
    view.clear();
    removeOthers(generation + 1);
    throw;
  }
  removeOthers(generation);
}

/// Files of generations that nobody will find again.
void TableWriter::State::removeOthers(std::uint64_t generation) {
  const std::string kept = chunkName(shape.name, generation, 0);
  const std::size_t stem = shape.name.size() + 18;  // ".", 16 digits, "."
  for (const std::string& name : storage.files())
    if (name.size() > stem && name.starts_with(shape.name + ".") && name[stem - 1] == '.' &&
        !name.starts_with(std::string_view(kept).substr(0, stem)))
      storage.remove(name);
}

void TableWriter::State::mustBeOurs() const {
  if (!core)
    Forma::throwAccessException(place() +
                                " belongs to the process that this one was forked from; "
                                "open it here, once that has closed it");
}

void TableWriter::State::renew(const std::string& why) {
  if (report && !why.empty()) report(place() + ": made anew: " + why);
  const std::uint64_t generation = newGeneration();
  TableView next;
  std::unique_ptr<TableCore> made;
  try {
    made = std::make_unique<TableCore>(storage, next, shape, generation,
                                       std::max(initialRows, core->rows()), report);
    core->copyTo(*made);
    core->retiredIs(true);  // first: who would die between the two must leave readers looking
    made->publish();
  } catch (...) {
    core->retiredIs(false);
    if (made) made->abandon();
    throw;
  }
  core.swap(made);
  core->viewIs(view);
  clearAway(*made);
}

/// The files of a generation that was replaced. What cannot be removed now is by the next writer.
void TableWriter::State::clearAway(TableCore& old) {
  try {
    old.abandon();
    removeOthers(core->fixed().generation);
  } catch (const std::exception& problem) {
    if (report) report(problem.what());
  }
}

void TableWriter::State::turn() {
  core->stamp(true);
  if (!isDue()) return;
  if (view.isDamaged()) return renew("a file was cut short by somebody else");
  if (!storage.isThere(headName(shape.name), view.head()) || !core->filesAreThere())
    return renew("files were removed by somebody else");
  if (isSparse()) return renew("");
  if (core->hasFarTooMany()) core->clean(0);
}

bool TableWriter::State::isDue() {
  const double now = monotonicSeconds();
  if (now < checked_ + secondsBetweenChecks) return false;
  checked_ = now;
  return true;
}

bool TableWriter::State::isSparse() const {
  const IndexWriter& index = core->index();
  const std::size_t words = index.words();
  return words > 16 * std::max(index.rows(), initialRows) &&
         words > sparseFrom * core->fixed().geometry.pageWords;
}

// ---- TableWriter --------------------------------------------------------------------------------

TableWriter::TableWriter(Storage& storage, TableShape shape, std::size_t initialRows, Report report)
    : state_(std::make_unique<State>(storage, std::move(shape), initialRows, std::move(report))) {}

TableWriter::~TableWriter() = default;

const TableShape& TableWriter::shape() const { return state_->shape; }
const TableView& TableWriter::view() const { return state_->view; }
std::size_t TableWriter::rows() const { return state_->core ? state_->core->rows() : 0; }

void TableWriter::expect(const std::byte* keys, std::size_t count) const {
  if (state_->core) state_->core->expect(keys, count);
}

std::byte* TableWriter::room(std::size_t rowBytes) {
  State& state = *state_;
  if (!state.core) [[unlikely]]
    state.mustBeOurs();
  const TableShape& shape = state.shape;
  if (rowBytes < shape.keyBytes || rowBytes > shape.maxRowBytes ||
      (shape.rowBytes != 0 && rowBytes != shape.rowBytes)) [[unlikely]]
    Forma::throwRangeException("table " + shape.name + ": a row of " + std::to_string(rowBytes) +
                               " bytes, of " + std::to_string(shape.maxRowBytes) +
                               " at most, not allowed");
  if (state.core->isExhausted()) [[unlikely]]
    state.renew("");
  return state.core->room(static_cast<std::uint32_t>(rowBytes));
}

void TableWriter::commit() { state_->core->commit(); }

void TableWriter::put(const std::byte* row, std::size_t rowBytes) {
  std::memcpy(room(rowBytes), row, rowBytes);
  commit();
}

bool TableWriter::remove(const std::byte* key) {
  state_->mustBeOurs();
  TableCore& core = *state_->core;
  if (!core.remove(key)) return false;
  if (core.hasFarTooMany()) core.cleanIfPossible();
  return true;
}

void TableWriter::turn() {
  if (!state_->core) return;
  try {
    state_->turn();
  } catch (const std::exception& problem) {
    if (state_->report) state_->report(problem.what());  // the next turn tries again
  }
}

void TableWriter::renew() {
  state_->mustBeOurs();
  state_->renew("");
}

std::size_t TableWriter::verify() {
  state_->mustBeOurs();
  return state_->core->verify();
}

void TableWriter::numbersAre(std::uint32_t nextSegment, std::uint64_t nextSequence) {
  state_->core->numbersAre(nextSegment, nextSequence);
}

}  // namespace Tarn
