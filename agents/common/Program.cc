#include "agents/common/Program.h"

#include <fcntl.h>
#include <signal.h>
#include <unistd.h>

#include <exception>
#include <iostream>

#include "agents/common/ExitCode.h"
#include "ldp/Registration.h"
#include "mpls/entities/Registration.h"
#include "mpls/lfib/Registration.h"
#include "platform/centrum/Registration.h"
#include "platform/centrum/UnixStream.h"
#include "platform/forma/Errors.h"

namespace Agents {

namespace {

/// Seconds that the end waits for the database to take what was changed.
constexpr double flushSeconds = 2.0;

Forma::TypeRegistry entityTypes() {
  Forma::TypeRegistry registry;
  Mpls::registerEntityTypes(registry);
  Mpls::registerLfibTypes(registry);
  Ldp::registerEntityTypes(registry);
  Centrum::registerTypes(registry);
  return registry;
}

/// Passes the completion of a mount group on.
class Completion : public Centrum::MountCallback {
 public:
  using Handler = std::function<void(Centrum::MountStatus)>;
  explicit Completion(Handler handler) : handler_(std::move(handler)) {}
  void doMountsComplete(Centrum::MountStatus status,
                        Forma::Ptr<Centrum::EntityManager> /*em*/) override {
    handler_(status);
  }

 private:
  const Handler handler_;
};

}  // namespace

Program::Program(const CommonOptions& options, Kind kind)
    : log_(options.name, options.logForm, options.logSink),
      registry_(entityTypes()),
      connectionLog_(log_, kind == Kind::follower,
                     [this](const std::string& path) { return handleRefused(path); }),
      manager_(Centrum::connectedEntityManagerFactory(
          loop_, registry_, Centrum::unixConnectorFactory(loop_, options.socket), {options.name})) {
  manager_->observerIs(&connectionLog_);
  if (kind == Kind::follower)
    for (const int signo : {SIGINT, SIGTERM}) loop_.signalIs(signo, [this](int) { end(exitGood); });
  if (log_.form() == Log::Form::agent) loop_.signalIs(SIGHUP, [this](int) { handleReload(); });
  loop_.exceptionHandlerIs(
      [this](std::exception_ptr problem) { handleException(std::move(problem)); });
}

Program::~Program() {
  manager_->observerIs(nullptr);
  manager_->close();
}

void Program::mount(const std::vector<Wish>& wishes, std::function<void()> then) {
  const auto group = manager_->getMountGroup();
  for (const Wish& wish : wishes) {
    const Forma::String8 path(wish.path);
    group->doMount(path, Forma::String8(wish.typeName), Forma::String8(wish.mode));
  }
  const auto complete = [this, then = std::move(then)](Centrum::MountStatus status) {
    if (status == Centrum::mountSuccess()) then();
    else end(exitDatabase);
  };
  group->doClose(Forma::Ptr<Centrum::MountCallback>(new Completion(complete)));
}

void Program::survivesInputBelow(const std::string& directory) {
  survivedDirectory_ = directory + "/";
}

bool Program::handleRefused(const std::string& path) {
  if (!survivedDirectory_.empty() && path.starts_with(survivedDirectory_)) return false;
  end(exitDatabase);
  return true;
}

void Program::handleReload() {
  if (reload_) reload_();
  else log_.info("SIGHUP: there is nothing to read again");
}

void Program::handleException(std::exception_ptr problem) {
  try {
    if (!survivedDirectory_.empty()) std::rethrow_exception(problem);
  } catch (const Forma::Exception& refused) {
    return log_.warning(std::string("goes on after an exception: ") + refused.what(),
                        {{"exceptions", loop_.handlerExceptions()}});
  } catch (...) {  // a fault of the program
  }
  if (!failure_) failure_ = std::move(problem);
  end(exitFault);
}

void Program::end(int exitCode) {
  if (!std::exchange(ended_, true)) exitCode_ = exitCode;
}

bool Program::await(const std::function<bool()>& done, double seconds) {
  loop_.runUntil([&] { return ended_ || done(); }, seconds);
  tellFailure();
  return !ended_ && done();
}

int Program::run(const std::function<bool()>& done) {
  await(
      done ? done : [] { return false; }, Kiln::EventLoop::forever);
  flush();
  manager_->observerIs(nullptr);
  manager_->close();
  return exitCode_;
}

/// A database that is away, or refused something, takes nothing any more.
void Program::flush() {
  if (exitCode_ == exitDatabase || exitCode_ == exitFault) return;
  loop_.runUntil([&] { return manager_->allSent() || !manager_->connected() || failure_; },
                 flushSeconds);
  tellFailure();
}

void Program::tellFailure() {
  if (!failure_) return;
  exitCode_ = exitFault;
  try {
    std::rethrow_exception(std::exchange(failure_, nullptr));
  } catch (const std::ios::failure&) {
    throw;
  } catch (const std::exception& problem) {
    log_.error(problem.what());
  }
}

namespace {

/// A descriptor that was closed would be given to the next file or connection that is opened, and
/// be written to by the log. Writing to what stands in its place fails.
void openStandardFiles() {
  for (int fd = STDIN_FILENO; fd <= STDERR_FILENO; ++fd)
    if (::fcntl(fd, F_GETFD) < 0) (void)::open("/dev/null", O_RDONLY);
}

int failed(Log log, const std::string& problem) {
  std::cout.exceptions(std::ios::goodbit);
  log.error(problem);
  return exitUsage;
}

}  // namespace

int guarded(const std::string& name, const std::function<int()>& body, Log::Form form) {
  openStandardFiles();
  ::signal(SIGPIPE, SIG_IGN);
  try {
    std::cout.exceptions(std::ios::badbit | std::ios::failbit);  // nobody would hear the rest
    const int exitCode = body();
    std::cout.flush();
    return exitCode;
  } catch (const std::ios::failure&) {
    return failed(Log(name, form), "the standard output cannot be written");
  } catch (const std::exception& problem) {
    return failed(Log(name, form), problem.what());
  }
}

}  // namespace Agents
