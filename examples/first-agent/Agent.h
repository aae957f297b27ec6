/// What every agent has: the types that it mounts, one event loop, one connection.
#pragma once

#include <signal.h>

#include <cstdio>
#include <cstdlib>
#include <functional>
#include <string>
#include <utility>

#include "mpls/entities/Registration.h"
#include "platform/centrum/ConnectedEntityManager.h"
#include "platform/centrum/UnixStream.h"

/// Tells people how the connection and the mounts stand.
class Teller : public Centrum::ConnectionObserver {
 public:
  void onWaiting(const std::string& address, const std::string& problem) override {
    std::fprintf(stderr, "waiting for %s: %s\n", address.c_str(), problem.c_str());
  }
  void onMountWaits(const Centrum::MountInfo& mount) override {
    std::fprintf(stderr, "%s: nobody has created it yet\n", mount.path.c_str());
  }
  void onMountRefused(const Centrum::MountInfo& mount) override {
    std::fprintf(stderr, "refused: %s\n", mount.problem.c_str());
  }
};

/// Calls a function when the mounts of a group are complete.
class WhenMounted : public Centrum::MountCallback {
 public:
  using Handler = std::function<void(Centrum::MountStatus)>;
  explicit WhenMounted(Handler handler) : handler_(std::move(handler)) {}
  void doMountsComplete(Centrum::MountStatus status,
                        Forma::Ptr<Centrum::EntityManager> /*em*/) override {
    handler_(status);
  }

 private:
  const Handler handler_;
};

class Agent {
 public:
  explicit Agent(const std::string& name)
      : em_(Centrum::connectedEntityManagerFactory(
            loop_, types_, Centrum::unixConnectorFactory(loop_, socket()), {name})) {
    Mpls::registerEntityTypes(types_);
    em_->observerIs(&teller_);
    for (const int signo : {SIGINT, SIGTERM}) loop_.signalIs(signo, [this](int) { loop_.stop(); });
    std::setvbuf(stdout, nullptr, _IOLBF, 0);
  }
  ~Agent() { em_->close(); }
  Agent(const Agent&) = delete;
  Agent& operator=(const Agent&) = delete;

  /// Mounts the entity of type T at `path`, and hands it to `then` when it is there.
  template <class T>
  void mount(const std::string& path, const char* mode,
             const std::function<void(Forma::Ptr<T>)>& then) {
    const auto group = em_->getMountGroup();
    group->doMount(path, T::formaTypeName, mode);
    group->doClose(new WhenMounted([this, path, then](Centrum::MountStatus status) {
      if (status == Centrum::mountSuccess()) then(Forma::ptrCast<T>(em_->getEntity(path)));
      else loop_.stop();  // the teller has said why
    }));
  }

  Forma::TypeRegistry& types() { return types_; }
  Kiln::EventLoop& loop() { return loop_; }
  /// Whether the database has all that was changed here.
  bool allSent() const { return em_->allSent(); }

 private:
  static std::string socket() {
    const char* const path = std::getenv("MPLS_CENTRUM");
    return path ? path : "/run/mpls/centrum.sock";
  }

  Forma::TypeRegistry types_;
  Kiln::EventLoop loop_;
  Teller teller_;
  const Forma::Ptr<Centrum::ConnectedEntityManager> em_;
};
