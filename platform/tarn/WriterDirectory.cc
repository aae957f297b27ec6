#include "platform/tarn/WriterDirectory.h"

#include <algorithm>
#include <cerrno>
#include <system_error>
#include <utility>
#include <vector>

#include "platform/tarn/CurrentStorage.h"
#include "platform/tarn/DirectoryStorage.h"
#include "platform/tarn/OwnedDirectory.h"
#include "platform/tarn/Stamp.h"
#include "platform/tarn/WriterPlace.h"

namespace Tarn {

namespace {

struct Table {
  std::shared_ptr<TableWriter> writer;
  Stamp told;  // as it was when readers were told of it last

  Stamp stamp() const { return Stamp::of(writer->view()); }
};

}  // namespace

WriterHandle::~WriterHandle() = default;

class WriterDirectory::State : public std::enable_shared_from_this<State> {
 public:
  State(Kiln::EventLoop& loop, const Options& options, Report report);

  void start();
  void close();
  std::unique_ptr<WriterHandle> table(TableShape shape, std::size_t initialRows);
  void hearAll();
  void ring();

  const std::string& path() const { return plan_.path; }
  std::size_t readers() const { return bell() ? bell()->readers() : 0; }

 private:
  class Handle;
  static constexpr double checkSeconds = 1;

  void moveIn();
  void check();
  void checkPlace();
  void reopen();
  bool recover();
  void lose(const std::string& why);
  void drop(const Table& table);
  void turn(std::shared_ptr<Table> table);
  Report tableReport() const;
  void reportOf(const std::string& text) const {
    if (!text.empty()) report_(text);
  }
  bool isOurs() const { return place_ != nullptr && place_->isHeld(); }
  /// Null while there is none, as in a forked child.
  Doorbell* bell() const { return isOurs() ? place_->bell() : nullptr; }

  Kiln::EventLoop& loop_;
  const PlacePlan plan_;
  const Report report_;
  CurrentStorage storage_;  // before those who use it
  std::unique_ptr<WriterPlace> place_;
  std::vector<std::shared_ptr<Table>> tables_;
  Kiln::Timer timer_;
  std::uint64_t turnEnd_ = 0;
  std::string problem_;  // of the last check
  std::string lost_;     // why another writes here; empty while we do
};

class WriterDirectory::State::Handle final : public WriterHandle {
 public:
  Handle(std::weak_ptr<State> directory, std::shared_ptr<Table> table)
      : directory_(std::move(directory)), table_(std::move(table)) {}
  ~Handle() override {
    if (const auto directory = directory_.lock()) directory->drop(*table_);
  }
  TableWriter* get() const override { return table_->writer.get(); }

 private:
  const std::weak_ptr<State> directory_;
  const std::shared_ptr<Table> table_;
};

// ---- The place ---------------------------------------------------------------------------------

WriterDirectory::State::State(Kiln::EventLoop& loop, const Options& options, Report report)
    : loop_(loop),
      plan_{absolutePath(options.path), rightsOf(options.owner, options.group, options.mode),
            options.mode, options.agent},
      report_(report ? std::move(report) : [](const std::string&) {}),
      storage_(plan_.path),
      timer_(loop.timers(), [this] { check(); }) {}

void WriterDirectory::State::start() {
  moveIn();
  reportOf(place_->open(loop_));
  storage_.onGoneIs([this] { return recover(); });
  turnEnd_ = loop_.turnEndIs([this] {
    const auto self = shared_from_this();
    ring();
  });
  timer_.scheduleAfter(checkSeconds);
}

/// From here on files are made there; readers of an old place hear that it is over.
void WriterDirectory::State::moveIn() {
  auto place = std::make_unique<WriterPlace>(plan_);
  storage_.currentIs(directoryStorageFactory(path(), plan_.rights));
  place_.swap(place);
}

void WriterDirectory::State::close() {
  loop_.turnEndDel(turnEnd_);
  timer_.cancel();
  for (const auto& table : tables_) table->writer = nullptr;
  tables_.clear();
  place_ = nullptr;
}

// ---- Tables ------------------------------------------------------------------------------------

std::unique_ptr<WriterHandle> WriterDirectory::State::table(TableShape shape,
                                                            std::size_t initialRows) {
  if (!lost_.empty()) Kiln::raiseErrno(EADDRINUSE, lost_);
  if (!isOurs()) Kiln::raiseErrno(EPERM, path() + " belongs to the process that forked this one");
  const auto isSame = [&](const auto& one) { return one->writer->shape().name == shape.name; };
  if (std::any_of(tables_.begin(), tables_.end(), isSame))
    Kiln::raiseErrno(EEXIST, path() + ": table " + shape.name + " is open here already");
  auto table = std::make_shared<Table>();
  table->writer =
      std::make_shared<TableWriter>(storage_, std::move(shape), initialRows, tableReport());
  table->told = table->stamp();
  auto handle = std::make_unique<Handle>(weak_from_this(), table);
  tables_.push_back(std::move(table));
  if (bell() != nullptr) bell()->newsIs();
  return handle;
}

/// What it wrote last is told all the same.
void WriterDirectory::State::drop(const Table& table) {
  const auto at = std::find_if(tables_.begin(), tables_.end(),
                               [&](const auto& one) { return one.get() == &table; });
  if (at == tables_.end()) return;
  const auto dead = *at;
  tables_.erase(at);
  if (bell() != nullptr && dead->stamp() != dead->told) bell()->newsIs();
  dead->writer = nullptr;
}

/// Readers that came or answered while the loop did not run.
void WriterDirectory::State::hearAll() {
  try {
    if (bell() != nullptr) bell()->hearAll();
  } catch (const std::exception& e) {
    report_(e.what());
  }
}

void WriterDirectory::State::ring() {
  for (std::size_t i = 0; isOurs() && i < tables_.size(); ++i)
    if (tables_[i]->stamp() != tables_[i]->told) turn(tables_[i]);
  if (bell() != nullptr) bell()->ring();
}

/// What fails is reported, and tried again. A report may drop the table.
void WriterDirectory::State::turn(std::shared_ptr<Table> table) {
  const auto writer = table->writer;
  writer->turn();
  const Stamp now = Stamp::of(writer->view());
  if (now != std::exchange(table->told, now) && bell() != nullptr) bell()->newsIs();
}

/// Drops what it has just said: a table that has no space says so each second.
Report WriterDirectory::State::tableReport() const {
  return [report = report_, last = std::make_shared<std::string>()](const std::string& text) {
    if (std::exchange(*last, text) != text) report(text);
  };
}

// ---- Each second -------------------------------------------------------------------------------

void WriterDirectory::State::check() {
  const auto self = shared_from_this();
  if (!isOurs()) return;
  timer_.scheduleAfter(checkSeconds);
  std::string problem;
  try {
    checkPlace();
  } catch (const std::system_error& e) {
    if (e.code() == std::errc::address_in_use) return lose(e.what());
    problem = e.what();
  } catch (const std::exception& e) {
    problem = e.what();
  }
  if (!problem.empty() && problem != problem_) report_(problem);
  problem_ = std::move(problem);
  for (std::size_t i = 0; isOurs() && i < tables_.size(); ++i) turn(tables_[i]);
}

/// Makes again what others took away. A report may close this.
void WriterDirectory::State::checkPlace() {
  if (place_->isGone()) moveIn();
  if (bell() == nullptr) reopen();
  if (isOurs()) reportOf(place_->mend());
}

/// Tables first: readers who find the socket find all the rest.
void WriterDirectory::State::reopen() {
  for (std::size_t i = 0; isOurs() && i < tables_.size(); ++i) {
    const auto writer = tables_[i]->writer;
    writer->renew();
  }
  if (!isOurs()) return;
  reportOf(place_->open(loop_));
  report_(path() + " had been removed: made again");
}

/// A file cannot be made, as its directory is gone: whether there is one now. The rest is for
/// check(), while no table is at work.
bool WriterDirectory::State::recover() {
  if (!isOurs()) return false;
  timer_.scheduleAfter(0);
  try {
    if (!place_->isGone()) return false;
    moveIn();
    return true;
  } catch (const std::system_error&) {
    return false;
  }
}

void WriterDirectory::State::lose(const std::string& why) {
  lost_ = why;
  close();
  report_("lost: " + why);
}

// ---- WriterDirectory ---------------------------------------------------------------------------

WriterDirectory::WriterDirectory(Kiln::EventLoop& loop, const Options& options, Report report)
    : state_(std::make_shared<State>(loop, options, std::move(report))) {
  state_->start();
}

WriterDirectory::~WriterDirectory() { state_->close(); }

const std::string& WriterDirectory::path() const { return state_->path(); }

std::unique_ptr<WriterHandle> WriterDirectory::table(TableShape shape, std::size_t initialRows) {
  return state_->table(std::move(shape), initialRows);
}

void WriterDirectory::ring() {
  const auto state = state_;  // a report may destroy this
  state->hearAll();
  state->ring();
}

std::size_t WriterDirectory::readers() const { return state_->readers(); }

}  // namespace Tarn
