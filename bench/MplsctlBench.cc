/// `mplsctl lfib show` of an LFIB of a million routes, as an operator runs it: until the first line
/// is there, time per row to a file, and the private memory of the process. What else maps the
/// pages of the tables does not count as memory.
///
/// Routes lead over 4096 via sets of two vias each, which share 1024 vias; labels stand with up to
/// two metrics. Their writer is gone when they are read.
#include <fcntl.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

#include "bench/Figures.h"
#include "bench/Processes.h"
#include "mpls/lfib/LfibStatus.h"
#include "platform/kiln/EventLoop.h"
#include "platform/kiln/Fd.h"
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

/// A directory of tables with so many routes, removed at the end.
class Lfib {
 public:
  explicit Lfib(std::uint32_t routes) {
    Fs::remove_all(path_);
    Kiln::EventLoop loop;
    Tarn::WriterDirectory directory(loop,
                                    {.path = path_, .owner = "", .group = "", .agent = "bench"},
                                    [](const std::string&) {});
    const auto lfib = lfibStatusFactory("lfib");
    FormaTarn::attachWriter(*lfib, directory);
    for (std::uint32_t i = 0; i < vias; ++i) lfib->mplsViaIs(viaOf(i));
    for (std::uint32_t i = 0; i < viaSets; ++i)
      lfib->viaSetIs({keyOf(i), {viaOf(i % vias).key(), viaOf((i * 7 + 1) % vias).key()}});
    for (std::uint32_t i = 0; i < routes; ++i)
      lfib->lfibRouteIs({RouteKey(16 + i / 2, static_cast<std::uint8_t>(i % 2)),
                         keyOf(i * 2654435761U % viaSets), source});
  }
  ~Lfib() { Fs::remove_all(Fs::path(path_).parent_path()); }
  const std::string& path() const { return path_; }

 private:
  static LfibViaSetKey keyOf(std::uint32_t index) { return {source, index, viaTypeMplsIp_}; }
  const std::string path_ = "/dev/shm/mpls-bench-ctl-" + std::to_string(::getpid()) + "/lfib";
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
    for (std::string& one : arguments) argv.push_back(one.data());
    argv.push_back(nullptr);
    posix_spawn_file_actions_t actions;
    ::posix_spawn_file_actions_init(&actions);
    ::posix_spawn_file_actions_adddup2(&actions, output, STDOUT_FILENO);
    errno = ::posix_spawn(&pid_, program.c_str(), &actions, nullptr, argv.data(), environ);
    ::posix_spawn_file_actions_destroy(&actions);
    require(errno == 0, "mplsctl");
  }
  ~Run() { end(); }
  Run(const Run&) = delete;
  Run& operator=(const Run&) = delete;

  void end() {
    if (pid_ == 0) return;
    int status = 0;
    ::waitpid(std::exchange(pid_, 0), &status, 0);
    require(WIFEXITED(status) && WEXITSTATUS(status) == 0, "mplsctl failed");
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
  double row = 0;      // ns, to a file
  double rowJson = 0;  // the same
  double memory = 0;   // bytes
};

double perRow(const Lfib& lfib, std::uint32_t routes, std::vector<std::string> more) {
  more.insert(more.begin(), {"lfib", "show", "--lfib", lfib.path()});
  const std::string path = lfib.path() + "/../shown";
  const Kiln::Fd file(::open(path.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0600));
  require(static_cast<bool>(file), "open");
  const std::uint64_t begin = now();
  Run(more, file.get()).end();
  return static_cast<double>(now() - begin) / routes;
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
}

Result measure(std::uint32_t routes) {
  const Lfib lfib(routes);
  Result result;
  readPipe(lfib, result);
  result.row = perRow(lfib, routes, {});
  result.rowJson = perRow(lfib, routes, {"--json"});
  return result;
}

const bool added = [] {
  constexpr std::uint32_t routes = 1'000'000;
  const auto of = Bench::series<Result>([] { return measure(routes); });
  const std::string n = "/Mpls/" + std::to_string(routes);
  Bench::addFigure("Mplsctl/firstLine" + n, of, &Result::first);
  Bench::addFigure("Mplsctl/showRow" + n, of, &Result::row);
  Bench::addFigure("Mplsctl/showRowJson" + n, of, &Result::rowJson);
  Bench::addFigure("Mplsctl/memory" + n, of, &Result::memory, Bench::Unit::bytes);
  return true;
}();

}  // namespace
