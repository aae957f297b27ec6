/// mplsctl on an LFIB of a million routes, as an operator runs it: of `lfib show` the time until
/// the first line is there, time per row to a file, and the private memory of the process (what
/// else maps the pages of the tables does not count as memory); the time of `lfib verify`; and what
/// a writer pays for a change while `lfib watch` follows, in processor time, against one that
/// nobody reads and one with another reader. These take turns, so that a busy machine hits all
/// alike.
///
/// Routes lead over 4096 via sets of one via each, or of two, which share 1024 vias; labels stand
/// with up to two metrics. A row is a line of the table: of two vias a route has two. Their writer
/// is gone when they are shown and verified.
#include <fcntl.h>
#include <signal.h>
#include <spawn.h>
#include <sys/wait.h>
#include <time.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <filesystem>
#include <fstream>
#include <functional>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "bench/Figures.h"
#include "bench/Processes.h"
#include "mpls/lfib/LfibStatus.h"
#include "platform/kiln/EventLoop.h"
#include "platform/kiln/Fd.h"
#include "platform/tarn/ReaderDirectory.h"
#include "platform/tarn/WriterDirectory.h"

namespace {

namespace Fs = std::filesystem;
using namespace Mpls;
using Bench::now;
using Bench::require;

constexpr std::uint32_t viaSets = 4096;
constexpr std::uint32_t vias = 1024;
constexpr auto source = LFib::lfibSourceStaticMpls_;

LfibMplsVia viaOf(std::uint32_t index) {
  LfibMplsVia via(LfibViaKey(source, viaTypeMplsIp_, index), Netbase::IpAddr(0x0a000000 + index),
                  Netbase::swap_, 100'000 + index, false);
  via.intfIs(Netbase::IntfId("Ethernet" + std::to_string(index % 64)));
  return via;
}

/// Processor time of this process, in nanoseconds.
double processorTime() {
  timespec time{};
  ::clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &time);
  return static_cast<double>(time.tv_sec) * 1e9 + static_cast<double>(time.tv_nsec);
}

/// A directory of tables with so many routes, removed at the end, and its writer.
class Lfib {
 public:
  Lfib(std::uint32_t routes, std::uint32_t viasOfRoute) : routes_(routes) {
    FormaTarn::attachWriter(*lfib_, *directory_);
    for (std::uint32_t i = 0; i < vias; ++i) lfib_->mplsViaIs(viaOf(i));
    for (std::uint32_t i = 0; i < viaSets; ++i) {
      LfibViaSet set(keyOf(i), {viaOf(i % vias).key()});
      if (viasOfRoute == 2)
        set = {keyOf(i), {viaOf(i % vias).key(), viaOf((i * 7 + 1) % vias).key()}};
      lfib_->viaSetIs(set);
    }
    for (std::uint32_t i = 0; i < routes; ++i) put(i, 0);
  }
  ~Lfib() {
    writerDel();
    Fs::remove_all(Fs::path(path_).parent_path());
  }
  Lfib(const Lfib&) = delete;
  Lfib& operator=(const Lfib&) = delete;

  const std::string& path() const { return path_; }
  void writerDel() {
    lfib_ = nullptr;
    directory_.reset();
  }
  /// Whether somebody reads.
  bool isRead() {
    directory_->ring();
    return directory_->readers() != 0;
  }
  /// Leads so many routes elsewhere, a hundred in a turn; returns the processor time of one.
  double change(std::uint32_t count) {
    const double begin = processorTime();
    for (std::uint32_t i = 0; i < count; ++i) {
      put(next_ % routes_, next_ / routes_);
      if (++next_ % 100 == 0) directory_->ring();
    }
    return (processorTime() - begin) / count;
  }

 private:
  static LfibViaSetKey keyOf(std::uint32_t index) { return {source, index, viaTypeMplsIp_}; }
  void put(std::uint32_t i, std::uint32_t round) {
    lfib_->lfibRouteIs({RouteKey(16 + i / 2, static_cast<std::uint8_t>(i % 2)),
                        keyOf((i + round) * 2654435761U % viaSets), source});
  }

  const std::uint32_t routes_;
  std::uint32_t next_ = 0;  // to be led elsewhere
  const std::string path_ = "/dev/shm/mpls-bench-ctl-" + std::to_string(::getpid()) + "/lfib";
  Kiln::EventLoop loop_;
  std::unique_ptr<Tarn::WriterDirectory> directory_ = std::make_unique<Tarn::WriterDirectory>(
      loop_,
      Tarn::WriterDirectory::Options{.path = path_, .owner = "", .group = "", .agent = "bench"},
      [](const std::string&) {});
  Forma::Ptr<LfibStatus> lfib_ = lfibStatusFactory("lfib");
};

/// A run of mplsctl, which lies beside the benchmark or one folder above it.
class Run {
 public:
  Run(std::vector<std::string> arguments, int output) {
    const Fs::path self = Fs::read_symlink("/proc/self/exe").parent_path();
    std::string program = (self / "mplsctl").string();
    if (!Fs::exists(program)) program = (self.parent_path() / "mplsctl").string();
    arguments.insert(arguments.begin(), program);
    std::vector<char*> argv;
    argv.reserve(arguments.size() + 1);
    for (std::string& one : arguments) argv.push_back(one.data());
    argv.push_back(nullptr);
    posix_spawn_file_actions_t actions;
    ::posix_spawn_file_actions_init(&actions);
    ::posix_spawn_file_actions_adddup2(&actions, output, STDOUT_FILENO);
    errno = ::posix_spawn(&pid_, program.c_str(), &actions, nullptr, argv.data(), environ);
    ::posix_spawn_file_actions_destroy(&actions);
    require(errno == 0, "mplsctl");
  }
  ~Run() {
    if (pid_ == 0) return;  // it was not waited for: something else has failed
    ::kill(pid_, SIGKILL);
    ::waitpid(pid_, nullptr, 0);
  }
  Run(const Run&) = delete;
  Run& operator=(const Run&) = delete;

  pid_t pid() const { return pid_; }
  void end(int exitCode = 0) {
    int status = 0;
    ::waitpid(std::exchange(pid_, 0), &status, 0);
    require(WIFEXITED(status) && WEXITSTATUS(status) == exitCode, "mplsctl failed");
  }
  void interrupt() {
    ::kill(pid_, SIGTERM);
    end(128 + SIGTERM);
  }
  /// Bytes that are of this process alone.
  double privateMemory() const {
    std::ifstream status("/proc/" + std::to_string(pid_) + "/status");
    for (std::string word; status >> word;)
      if (word == "RssAnon:") {
        double kibibytes = 0;
        status >> kibibytes;
        return kibibytes * 1024;
      }
    return 0;
  }

 private:
  pid_t pid_ = 0;
};

struct Result {
  double first = 0;    // ns until the first line
  double row = 0;      // ns for each row, to a file
  double rowJson = 0;  // the same
  double memory = 0;   // bytes
  double verify = 0;   // ns
};

/// The time of a command whose output goes to a file.
double timeOf(const Lfib& lfib, const char* verb, std::vector<std::string> more = {}) {
  more.insert(more.begin(), {"lfib", verb, "--lfib", lfib.path()});
  const std::string path = lfib.path() + "/../shown";
  const Kiln::Fd file(::open(path.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0600));
  require(static_cast<bool>(file), "open");
  const std::uint64_t begin = now();
  Run(more, file.get()).end();
  return static_cast<double>(now() - begin);
}

/// Reads the output through a pipe: the process waits while its memory is looked at.
void readPipe(const Lfib& lfib, Result& result) {
  int ends[2];
  require(::pipe2(ends, O_CLOEXEC) == 0, "pipe");
  const Kiln::Fd in(ends[0]);
  Kiln::Fd out(ends[1]);
  const std::uint64_t begin = now();
  Run run({"lfib", "show", "--lfib", lfib.path()}, out.get());
  out = Kiln::Fd();
  std::vector<char> buffer(1 << 20);
  for (std::size_t reads = 0;; ++reads) {
    const ssize_t got = ::read(in.get(), buffer.data(), buffer.size());
    if (got <= 0) break;
    if (result.first == 0) result.first = static_cast<double>(now() - begin);
    if (reads % 16 == 0) result.memory = std::max(result.memory, run.privateMemory());
  }
  run.end();
}

Result measure(std::uint32_t routes, std::uint32_t viasOfRoute) {
  Lfib lfib(routes, viasOfRoute);
  lfib.writerDel();
  Result result;
  readPipe(lfib, result);
  result.row = timeOf(lfib, "show") / routes / viasOfRoute;
  result.rowJson = timeOf(lfib, "show", {"--json"}) / routes / viasOfRoute;
  result.verify = timeOf(lfib, "verify");
  return result;
}

// ---- A writer that is followed -----------------------------------------------------------------

struct Followed {  // ns of processor time for each change
  double nobody = 0;
  double reader = 0;
  double watch = 0;
  double watchJson = 0;
};

/// Waits until a process that reads has done what it had to do at its start.
void awaitFollowing(Lfib& lfib, const std::function<double()>& used) {
  constexpr std::uint64_t look = 100'000'000;
  for (double before = -1; !lfib.isRead() || std::exchange(before, used()) != used();)
    Bench::sleepUntil(now() + look);
}

double processorTimeOf(pid_t pid) {
  std::ifstream stat("/proc/" + std::to_string(pid) + "/schedstat");
  double used = 0;
  stat >> used;
  return used;
}

constexpr std::uint32_t changes = 300'000;

double changeWatched(Lfib& lfib, std::vector<std::string> more) {
  more.insert(more.begin(), {"lfib", "watch", "--lfib", lfib.path()});
  const Kiln::Fd nowhere(::open("/dev/null", O_WRONLY | O_CLOEXEC));
  Run run(more, nowhere.get());
  awaitFollowing(lfib, [&run] { return processorTimeOf(run.pid()); });
  const double one = lfib.change(changes);
  run.interrupt();
  return one;
}

/// Hears of all changes, and does nothing about them.
double changeRead(Lfib& lfib) {
  const Bench::Process reader("reader", Bench::readerCore, [&lfib] {
    Kiln::EventLoop loop;
    Tarn::ReaderDirectory directory(loop, lfib.path(), [](const std::string&) {});
    const auto read = lfibStatusFactory("lfib");
    FormaTarn::attachReader(*read, directory);
    loop.run();
  });
  awaitFollowing(lfib, [&reader] { return processorTimeOf(reader.pid()); });
  return lfib.change(changes);
}

Followed measureFollowed(std::uint32_t routes) {
  constexpr int rounds = 5;
  Lfib lfib(routes, 2);
  std::array<std::vector<double>, 4> all;
  for (int i = 0; i < rounds; ++i) {
    while (lfib.isRead()) Bench::sleepUntil(now() + 1'000'000);
    all[0].push_back(lfib.change(changes));
    all[1].push_back(changeRead(lfib));
    all[2].push_back(changeWatched(lfib, {}));
    all[3].push_back(changeWatched(lfib, {"--json"}));
  }
  for (auto& one : all) std::ranges::nth_element(one, one.begin() + rounds / 2);
  return {all[0][rounds / 2], all[1][rounds / 2], all[2][rounds / 2], all[3][rounds / 2]};
}

const bool added = [] {
  constexpr std::uint32_t routes = 1'000'000;
  const auto of = Bench::series<Result>([] { return measure(routes, 1); });
  const std::string n = "/Mpls/" + std::to_string(routes);
  Bench::addFigure("Mplsctl/firstLine" + n, of, &Result::first);
  Bench::addFigure("Mplsctl/showRow" + n, of, &Result::row);
  Bench::addFigure("Mplsctl/showRowJson" + n, of, &Result::rowJson);
  Bench::addFigure("Mplsctl/memory" + n, of, &Result::memory, Bench::Unit::bytes);
  Bench::addFigure("Mplsctl/verify" + n, of, &Result::verify);
  const auto ofTwo = Bench::series<Result>([] { return measure(routes, 2); });
  Bench::addFigure("Mplsctl/showRow/Mpls/twoVias", ofTwo, &Result::row);
  Bench::addFigure("Mplsctl/showRowJson/Mpls/twoVias", ofTwo, &Result::rowJson);
  const auto followed = Bench::series<Followed>([] { return measureFollowed(100'000); });
  Bench::addFigure("Mplsctl/change/Mpls/nobody", followed, &Followed::nobody);
  Bench::addFigure("Mplsctl/change/Mpls/reader", followed, &Followed::reader);
  Bench::addFigure("Mplsctl/change/Mpls/watch", followed, &Followed::watch);
  Bench::addFigure("Mplsctl/change/Mpls/watchJson", followed, &Followed::watchJson);
  return true;
}();

}  // namespace
