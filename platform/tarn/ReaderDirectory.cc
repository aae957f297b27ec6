#include "platform/tarn/ReaderDirectory.h"

#include <algorithm>
#include <cerrno>
#include <system_error>
#include <utility>
#include <vector>

#include "platform/tarn/BellConnection.h"
#include "platform/tarn/FollowedTable.h"
#include "platform/tarn/OwnedDirectory.h"
#include "platform/tarn/SoughtDirectory.h"
#include "platform/tarn/StorageErrors.h"
#include "platform/tarn/WriterInfo.h"

namespace Tarn {

namespace {

using Look = TableReader::Look;

/// Sets a flag while it lives.
struct Raised {
  explicit Raised(bool& flag) : flag_(flag), before_(std::exchange(flag, true)) {}
  ~Raised() { flag_ = before_; }
  Raised(const Raised&) = delete;
  Raised& operator=(const Raised&) = delete;

 private:
  bool& flag_;
  const bool before_;
};

}  // namespace

TableListener::~TableListener() = default;
ReaderHandle::~ReaderHandle() = default;

/// Each function that calls others holds what it works on: they may destroy everything.
class ReaderDirectory::State : public std::enable_shared_from_this<State> {
 public:
  State(Kiln::EventLoop& loop, const std::string& path, Report report);

  void start();
  void close();
  std::unique_ptr<ReaderHandle> table(TableShape shape, TableListener* listener);
  void look();

  const std::string& path() const { return path_; }
  const Writer& writer() const { return writer_; }
  void onWriterIs(std::function<void()> handler) { onWriter_ = std::move(handler); }

 private:
  class Handle;
  static constexpr double checkSeconds = 1;
  static constexpr double checkConnectedSeconds = 5;

  void check();
  void findDirectory();
  void connect(Look otherwise);
  void hear(BellConnection::Event event);
  void came();
  void went();
  void tellWriter();
  void lookAll(Look how);
  void drop(FollowedTable& table);
  bool missedRing() const;
  void problemIs(std::string& known, const std::string& text);
  Report tableReport();

  Kiln::EventLoop& loop_;
  const std::string path_;
  const Report report_;
  SoughtDirectory directory_;  // before those who use it
  std::vector<std::shared_ptr<FollowedTable>> tables_;
  std::unique_ptr<BellConnection> bell_;
  Kiln::Timer timer_;
  Writer writer_;
  std::function<void()> onWriter_;
  std::string directoryProblem_;
  std::string writerProblem_;
  bool isChanging_ = false;  // the writer comes or goes: others are being told
  bool isClosed_ = false;
};

class ReaderDirectory::State::Handle final : public ReaderHandle {
 public:
  Handle(std::weak_ptr<State> directory, std::shared_ptr<FollowedTable> table)
      : directory_(std::move(directory)), table_(std::move(table)) {}
  ~Handle() override {
    if (const auto directory = directory_.lock()) directory->drop(*table_);
  }
  TableReader* get() const override { return table_->reader(); }

 private:
  const std::weak_ptr<State> directory_;
  const std::shared_ptr<FollowedTable> table_;
};

ReaderDirectory::State::State(Kiln::EventLoop& loop, const std::string& path, Report report)
    : loop_(loop),
      path_(absolutePath(path)),
      report_(report ? std::move(report) : [](const std::string&) {}),
      directory_(path_),
      timer_(loop.timers(), [this] { check(); }) {}

/// The writer is looked for in the next turn: by then its tables are known, and who is to be told.
void ReaderDirectory::State::start() {
  const auto self = shared_from_this();
  directory_.onOtherIs([this] { timer_.scheduleAfter(0); });
  try {
    directory_.watch(loop_, [this] { check(); });
  } catch (const std::system_error& e) {
    report_(path_ + " is looked at each second: " + e.what());
  }
  timer_.scheduleAfter(0);
  findDirectory();
}

void ReaderDirectory::State::close() {
  isClosed_ = true;
  timer_.cancel();
  directory_.unwatch();
  bell_ = nullptr;
  onWriter_ = nullptr;
  for (const auto& table : std::exchange(tables_, {})) table->close();
}

// ---- Directory and writer ----------------------------------------------------------------------

void ReaderDirectory::State::check() {
  const auto self = shared_from_this();
  timer_.scheduleAfter(checkSeconds);  // whatever is thrown from here on
  findDirectory();
  const bool isOther = directory_.takeOther();
  if (isOther && bell_) went();  // who writes there is another
  if (isClosed_) return;
  if (!bell_) return connect(isOther ? Look::everywhere : Look::counted);
  timer_.scheduleAfter(checkConnectedSeconds);
  if (missedRing()) bell_->answer();
  lookAll(Look::counted);
}

void ReaderDirectory::State::findDirectory() {
  directory_.find();
  if (directory_ && writer_.pid == 0) {
    const WriterInfo last = WriterInfo::ofDirectory(directory_.get());
    writer_.pid = last.pid;
    writer_.agent = last.agent;
  }
  problemIs(directoryProblem_, directory_.problem());
}

/// Looks in any case. A directory that was found while others were told that the writer went is the
/// one that is connected to; one that is found from here on brings check() back at once.
void ReaderDirectory::State::connect(Look otherwise) {
  if (directory_.takeOther()) otherwise = Look::everywhere;
  if (directory_)
    bell_ =
        BellConnection::open(loop_, directory_.get(), path_, [this](auto event) { hear(event); });
  if (bell_) {
    timer_.scheduleAfter(checkConnectedSeconds);
    problemIs(writerProblem_, {});
    return came();
  }
  const int error = directory_ ? errno : ENOENT;
  const bool nobodyWrites = error == ENOENT || error == ECONNREFUSED;
  const std::string socket = path_ + "/" + bellName;
  problemIs(writerProblem_, nobodyWrites
                                ? std::string()
                                : failureText("connect to " + socket, socket, Right::write, error) +
                                      ": " + std::generic_category().message(error));
  lookAll(otherwise);
}

void ReaderDirectory::State::hear(BellConnection::Event event) {
  const auto self = shared_from_this();
  if (event == BellConnection::Event::rung) {
    // Who is waited for hears first; what came meanwhile was not rung for, and is found at once.
    lookAll(Look::counted);
    if (isClosed_ || !bell_) return;
    bell_->answer();
    return lookAll(Look::counted);
  }
  went();
  if (!isClosed_) check();
}

void ReaderDirectory::State::came() {
  const WriterInfo info = WriterInfo::ofDirectory(directory_.get());
  const int peer = bell_->peer();
  writer_.pid = peer == 0 ? info.pid : peer;
  writer_.agent = writer_.pid == info.pid ? info.agent : std::string();
  {
    const Raised mark(isChanging_);
    lookAll(Look::everywhere);
  }
  if (isClosed_) return;
  writer_.isThere = true;
  writer_.since = loop_.now();
  ++writer_.comes;
  tellWriter();
}

void ReaderDirectory::State::went() {
  bell_ = nullptr;
  writer_.isThere = false;
  writer_.since = loop_.now();
  {
    const Raised mark(isChanging_);
    lookAll(Look::everywhere);
  }
  if (!isClosed_) tellWriter();
}

void ReaderDirectory::State::tellWriter() {
  const auto handler = onWriter_;
  try {
    if (handler) handler();
  } catch (...) {
    loop_.exceptionIs(std::current_exception());
  }
}

// ---- Tables ------------------------------------------------------------------------------------

std::unique_ptr<ReaderHandle> ReaderDirectory::State::table(TableShape shape,
                                                            TableListener* listener) {
  const auto self = shared_from_this();
  if (!directory_) {
    findDirectory();
    if (directory_) timer_.scheduleAfter(0);  // the others hear of it, too
  }
  const auto follow = listener == nullptr ? TableReader::Follow::no : TableReader::Follow::yes;
  auto table = std::make_shared<FollowedTable>(
      loop_,
      std::make_unique<TableReader>(directory_.storage(), std::move(shape), follow, tableReport()),
      listener);
  tables_.push_back(table);
  auto handle = std::make_unique<Handle>(weak_from_this(), table);
  table->look(Look::everywhere);
  return handle;
}

void ReaderDirectory::State::drop(FollowedTable& table) {
  table.close();
  std::erase_if(tables_, [&](const auto& one) { return one.get() == &table; });
}

void ReaderDirectory::State::look() {
  const auto self = shared_from_this();
  if (bell_ || isChanging_) lookAll(Look::counted);
  else check();
}

/// Without a directory there is nothing to be found but by who has found it before.
void ReaderDirectory::State::lookAll(Look how) {
  const auto tables = tables_;
  for (const auto& table : tables)
    if (directory_ || table->isAttached()) table->look(how);
}

/// Whether something changed and no ring told of it, which then may never come.
bool ReaderDirectory::State::missedRing() const {
  return std::any_of(tables_.begin(), tables_.end(),
                     [](const auto& table) { return table->isChanged(); });
}

// ---- Reports -----------------------------------------------------------------------------------

/// Reports what is not known yet.
void ReaderDirectory::State::problemIs(std::string& known, const std::string& text) {
  if (std::exchange(known, text) != text && !text.empty()) report_(text);
}

/// What is wrong with the directory is reported once, not for each of its tables.
Report ReaderDirectory::State::tableReport() {
  return [weak = weak_from_this(), report = report_](const std::string& text) {
    const auto self = weak.lock();
    const bool isKnown = self && !self->directoryProblem_.empty() &&
                         text.find(self->directoryProblem_) != std::string::npos;
    if (!isKnown) report(text);
  };
}

// ---- ReaderDirectory ---------------------------------------------------------------------------

ReaderDirectory::ReaderDirectory(Kiln::EventLoop& loop, const std::string& path, Report report)
    : state_(std::make_shared<State>(loop, path, std::move(report))) {
  state_->start();
}

ReaderDirectory::~ReaderDirectory() { state_->close(); }

const std::string& ReaderDirectory::path() const { return state_->path(); }

const ReaderDirectory::Writer& ReaderDirectory::writer() const { return state_->writer(); }

void ReaderDirectory::onWriterIs(std::function<void()> handler) {
  state_->onWriterIs(std::move(handler));
}

std::unique_ptr<ReaderHandle> ReaderDirectory::table(TableShape shape, TableListener* listener) {
  return state_->table(std::move(shape), listener);
}

void ReaderDirectory::look() {
  const auto state = state_;  // who is told may destroy this
  state->look();
}

}  // namespace Tarn
