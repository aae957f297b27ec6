/// The processes of the simulation: clients of the central database, over production code. Each can
/// be killed at any moment and started again.
#pragma once

#include <memory>
#include <string>
#include <vector>

#include "faults/SimTypes.h"
#include "platform/centrum/ConnectedEntityManager.h"
#include "tests/support/RandomEntities.h"
#include "tests/support/ReplicaWatch.h"
#include "tests/support/SimNetwork.h"

namespace CentrumSim {

/// What the processes need of the world, and what they tell it.
struct Stage {
  explicit Stage(std::uint32_t seed) : network(loop, seed), random(registry(), seed ^ 0x5eed5eed) {}

  bool chance(std::uint32_t in) { return network.random(in) == 0; }
  /// Notes what is wrong; the first is kept.
  void fail(const std::string& what);

  Kiln::TestClock clock{1000};
  Kiln::EventLoop loop{clock};
  SimNetwork network;
  RandomEntities random;
  bool keepsLog = false;    // the server's restarts lose nothing
  bool wholeTurns = false;  // each Delta holds all changes of a path: the rules hold at any moment
  std::uint64_t turns = 0;  // of all owners
  std::uint64_t told = 0;   // notifications in all replicas
  std::uint64_t completed = 0;  // mount groups
  std::string problem;
};

struct Wish {
  std::string path;
  std::string type;
  std::string mode;
};

class Process {
 public:
  Process(Stage& stage, std::string name, std::vector<Wish> wishes)
      : stage_(stage), name_(std::move(name)), wishes_(std::move(wishes)) {}
  virtual ~Process();

  void start();
  /// As SIGKILL does: with luck what was handed over still arrives.
  void kill();
  bool running() const { return static_cast<bool>(manager_); }
  /// All its mounts are there.
  bool ready() const { return ready_; }
  const std::string& name() const { return name_; }
  const std::vector<Wish>& wishes() const { return wishes_; }
  Centrum::ConnectedEntityManager& manager() const { return *manager_; }
  bool mounts(const std::string& path) const;
  template <class T = Forma::Entity>
  Forma::Ptr<T> find(const std::string& path) const {
    return Forma::ptrCast<T>(manager_->getEntity(Forma::String8(path)));
  }

 protected:
  virtual void started() {}
  virtual void mounted() {}
  virtual void refused() { fail("was refused"); }
  virtual void killed() {}
  void fail(const std::string& what) { stage_.fail(name_ + ": " + what); }
  unsigned life() const { return life_; }

  Stage& stage_;

 private:
  class Completion;
  void completed(Centrum::MountStatus status);

  const std::string name_;
  const std::vector<Wish> wishes_;
  Forma::Ptr<Centrum::ConnectedEntityManager> manager_;
  unsigned life_ = 0;
  bool ready_ = false;
};

/// Owns paths. What it mounts "x" it builds anew in a few turns, and commits then.
class Writer final : public Process, private Centrum::ConnectionObserver {
 public:
  using Process::Process;
  ~Writer() override;
  /// When it is refused it tries again as long as this holds.
  bool wanted = true;
  /// A few turns, soon, with changes of what it owns.
  void change();
  /// Everything it owns is published, and kept by the server.
  bool settled() const;

 private:
  void started() override;
  void mounted() override;
  void refused() override;
  void onMountRefused(const Centrum::MountInfo& mount) override;
  void startAgain();
  void fill(int turns);
  void turn();
  void changeLedger(Ledger& ledger);

  bool committed_ = false;
};

/// Reads paths and directories, and believes nothing.
class Reader final : public Process {
 public:
  using Process::Process;
  ~Reader() override;
  /// Checks what holds when nothing is under way.
  void check();

 private:
  void started() override;
  void mounted() override;
  void killed() override { watch_ = nullptr; }
  /// Checks the rules of what it has.
  void look();

  std::unique_ptr<ReplicaWatch> watch_;
  std::uint64_t snapshots_ = 0;  // when all was mounted
  std::uint64_t newest_ = 1;     // debit of the ledger that is built anew
  std::uint64_t looked_ = 0;     // at what changed up to there
};

}  // namespace CentrumSim
