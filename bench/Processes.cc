#include "bench/Processes.h"

#include <fcntl.h>
#include <poll.h>
#include <sched.h>
#include <signal.h>
#include <sys/prctl.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <time.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <exception>
#include <filesystem>
#include <fstream>
#include <stdexcept>
#include <system_error>

namespace Bench {
namespace {

constexpr int answerTimeout = 60'000;  // milliseconds
constexpr std::uint64_t second = 1'000'000'000;

std::uint64_t nanoseconds(const timespec& time) {
  return static_cast<std::uint64_t>(time.tv_sec) * second +
         static_cast<std::uint64_t>(time.tv_nsec);
}

/// The cores that we may use; asked before the first pin, which every child inherits.
const std::vector<int>& cores() {
  static const std::vector<int> allowed = [] {
    cpu_set_t set;
    require(sched_getaffinity(0, sizeof set, &set) == 0, "sched_getaffinity");
    std::vector<int> found;
    for (int core = 0; core < CPU_SETSIZE; ++core)
      if (CPU_ISSET(static_cast<std::size_t>(core), &set)) found.push_back(core);
    return found;
  }();
  return allowed;
}

void pin(Core core) {
  cpu_set_t set;
  CPU_ZERO(&set);
  CPU_SET(static_cast<std::size_t>(cores()[core % cores().size()]), &set);
  require(sched_setaffinity(0, sizeof set, &set) == 0, "sched_setaffinity");
}

/// Ahead of all ordinary processes, if we may: whatever else the machine does would cost one system
/// or the other milliseconds at a time.
void runFirst() {
  const sched_param least{sched_get_priority_min(SCHED_FIFO)};
  sched_setscheduler(0, SCHED_FIFO, &least);
}

[[noreturn]] void runChild(const char* name, Core core, const std::function<void()>& body) {
  try {
    prctl(PR_SET_PDEATHSIG, SIGKILL);
    prctl(PR_SET_NAME, name);
    pin(core);
    runFirst();
    body();
  } catch (const std::exception& problem) {
    std::fprintf(stderr, "%s: %s\n", name, problem.what());
    std::_Exit(1);
  }
  std::_Exit(0);
}

void serve(int channel, const Worker::Handler& handler) {
  Command command;
  while (recv(channel, &command, sizeof command, 0) == static_cast<ssize_t>(sizeof command)) {
    const Answer answer = handler(command);
    require(send(channel, &answer, sizeof answer, MSG_NOSIGNAL) == sizeof answer, "answer");
  }
}

}  // namespace

std::uint64_t now() {
  timespec time;
  clock_gettime(CLOCK_MONOTONIC, &time);
  return nanoseconds(time);
}

void sleepUntil(std::uint64_t time) {
  const timespec until{static_cast<time_t>(time / second), static_cast<long>(time % second)};
  while (clock_nanosleep(CLOCK_MONOTONIC, TIMER_ABSTIME, &until, nullptr) == EINTR) {
  }
}

void require(bool ok, const char* what) {
  if (!ok) throw std::system_error(errno, std::generic_category(), what);
}

// ---- Process -----------------------------------------------------------------------------------

Process::Process(const char* name, Core core, const std::function<void()>& body) {
  cores();
  std::fflush(nullptr);
  pid_ = fork();
  require(pid_ >= 0, "fork");
  if (pid_ == 0) runChild(name, core, body);
}

Process::~Process() {
  kill(pid_, SIGKILL);
  waitpid(pid_, nullptr, 0);
}

double Process::cpuTime() const {
  clockid_t clock;
  timespec time;
  require(clock_getcpuclockid(pid_, &clock) == 0 && clock_gettime(clock, &time) == 0, "cpu clock");
  return static_cast<double>(nanoseconds(time)) / second;
}

std::size_t Process::memory() const {
  std::size_t mapped = 0;
  std::size_t resident = 0;
  std::ifstream("/proc/" + std::to_string(pid_) + "/statm") >> mapped >> resident;
  return resident * static_cast<std::size_t>(sysconf(_SC_PAGESIZE));
}

std::function<void()> program(std::vector<std::string> arguments) {
  return [arguments = std::move(arguments)]() mutable {
    const int null = open("/dev/null", O_RDWR | O_CLOEXEC);
    for (int fd = 0; fd < 3; ++fd) dup2(null, fd);
    std::vector<char*> raw;
    for (std::string& argument : arguments) raw.push_back(argument.data());
    raw.push_back(nullptr);
    execvp(raw[0], raw.data());
    std::_Exit(127);
  };
}

// ---- Worker ------------------------------------------------------------------------------------

Worker::Worker(const char* name, Core core, const std::function<Handler()>& start)
    : Worker(name, core, start, [] {
        int ends[2];
        require(socketpair(AF_UNIX, SOCK_SEQPACKET | SOCK_CLOEXEC, 0, ends) == 0, "socketpair");
        return Ends{ends[0], ends[1]};
      }()) {}

Worker::Worker(const char* name, Core core, const std::function<Handler()>& start, Ends ends)
    : Process(name, core,
              [&] {
                close(ends.ours);
                serve(ends.theirs, start());
              }),
      channel_(ends.ours) {
  close(ends.theirs);
}

Worker::~Worker() { close(channel_); }

void Worker::post(const Command& command) {
  require(send(channel_, &command, sizeof command, MSG_NOSIGNAL) == sizeof command, "post");
}

Answer Worker::wait() {
  pollfd ready{channel_, POLLIN, 0};
  if (poll(&ready, 1, answerTimeout) != 1) throw std::runtime_error("a process does not answer");
  Answer answer;
  if (recv(channel_, &answer, sizeof answer, 0) != sizeof answer)
    throw std::runtime_error("a process died");
  return answer;
}

Answer Worker::call(const Command& command) {
  post(command);
  return wait();
}

// ---- Scratch -----------------------------------------------------------------------------------

Scratch::Scratch() {
  const char* const place = std::filesystem::is_directory("/dev/shm") ? "/dev/shm" : "/tmp";
  path_ = std::string(place) + "/mpls-bench.XXXXXX";
  require(mkdtemp(path_.data()) != nullptr, "mkdtemp");
}

Scratch::~Scratch() {
  std::error_code ignored;
  std::filesystem::remove_all(path_, ignored);
}

}  // namespace Bench
