#include "faults/SimProcess.h"

#include <algorithm>

#include "mpls/entities/RouteConfig.h"

namespace CentrumSim {

using Centrum::MountState;

void Stage::fail(const std::string& what) {
  if (problem.empty()) problem = "at " + std::to_string(clock.now()) + ": " + what;
}

// ---- Process -----------------------------------------------------------------------------------

class Process::Completion final : public Centrum::MountCallback {
 public:
  explicit Completion(Process& of) : of_(of), life_(of.life_) {}
  void doMountsComplete(Centrum::MountStatus status,
                        Forma::Ptr<Centrum::EntityManager> /*em*/) override {
    if (std::exchange(called_, true)) return of_.fail("doMountsComplete came twice");
    if (life_ != of_.life_ || !of_.running())
      return of_.fail("doMountsComplete came after its end");
    of_.completed(status);
  }

 private:
  Process& of_;
  const unsigned life_;
  bool called_ = false;
};

Process::~Process() {
  if (manager_) manager_->close();
}

void Process::start() {
  if (manager_) return;
  ++life_;
  manager_ = Centrum::connectedEntityManagerFactory(stage_.loop, registry(),
                                                    stage_.network.connector(name_), {name_});
  started();
  const auto group = manager_->getMountGroup();
  for (const Wish& wish : wishes_)
    group->doMount(Forma::String8(wish.path), Forma::String8(wish.type), Forma::String8(wish.mode));
  group->doClose(new Completion(*this), stage_.chance(3) ? 0.3 : 0.0);
}

void Process::kill() {
  if (!manager_) return;
  stage_.network.freeze(name_, false);
  if (stage_.chance(2)) stage_.network.cut(name_);
  killed();
  ready_ = false;
  manager_->close();
  manager_ = nullptr;
}

bool Process::mounts(const std::string& path) const {
  return std::ranges::any_of(wishes_, [&](const Wish& wish) { return wish.path == path; });
}

void Process::completed(Centrum::MountStatus status) {
  ++stage_.completed;
  if (status != Centrum::mountSuccess()) return refused();
  ready_ = true;
  mounted();
}

// ---- Writer ------------------------------------------------------------------------------------

Writer::~Writer() = default;

void Writer::started() { manager().observerIs(this); }

/// Another one owns the path: tries again later. There is no other reason to be refused.
void Writer::refused() {
  const auto infos = manager().mountInfos();
  const bool owned = std::ranges::any_of(infos, [](const auto& info) {
    return info.problem.find(" is owned by ") != std::string::npos;
  });
  if (!owned) return fail("was refused, though nobody owns the path");
  startAgain();
}

/// Another one wrote what it owned: it must begin with that.
void Writer::onMountRefused(const Centrum::MountInfo& mount) {
  if (ready() && mount.problem.find("start again") != std::string::npos) startAgain();
}

void Writer::startAgain() {
  stage_.loop.post([this, life = life()] {
    if (life != this->life()) return;
    kill();
    stage_.loop.timers().timerIs(stage_.clock.now() + 1, [this] {
      if (wanted) start();
    });
  });
}

void Writer::mounted() {
  committed_ = false;
  fill(2);
}

/// A few turns, then all is published.
void Writer::fill(int turns) {
  turn();
  if (turns > 0) {
    stage_.loop.timers().timerIs(stage_.clock.now() + 0.01, [this, turns, life = life()] {
      if (life == this->life() && running()) fill(turns - 1);
    });
    return;
  }
  for (const Wish& wish : wishes()) manager().commit(Forma::String8(wish.path));
  committed_ = true;
}

void Writer::change() {
  for (std::uint32_t i = 1 + stage_.random.below(4); i > 0; --i)
    stage_.loop.timers().timerIs(stage_.clock.now() + 0.002 * i, [this] {
      if (running() && ready() && committed_) turn();
    });
}

void Writer::turn() {
  for (const Wish& wish : wishes()) {
    const auto entity = find(wish.path);
    if (auto* const ledger = dynamic_cast<Ledger*>(entity.get())) changeLedger(*ledger);
    else
      for (int i = 0; i < 3; ++i) stage_.random.step(*entity);
    if (auto* const config = dynamic_cast<Mpls::RouteConfig*>(entity.get())) config->readyIs(true);
  }
}

/// Now and then many entries, more than a connection holds.
void Writer::changeLedger(Ledger& ledger) {
  RandomEntities& random = stage_.random;
  ledger.debitIs(++stage_.turns);
  const std::uint32_t range = random.below(24) == 0 ? 600 : 20;
  for (std::uint32_t i = random.below(range / 3); i > 0; --i) {
    const std::uint32_t key = random.below(range);
    for (const std::uint32_t one : {key, Ledger::twinOf(key)})
      if (i % 3 == 0) ledger.entryDel(one);
      else ledger.entryIs(one, stage_.turns);
    if (i % 4 == 0) ledger.accountDel(key);
    if (i % 4 == 3) continue;
    ledger.accountIs(key)->balanceIs(stage_.turns + key);
    ledger.accountIs(key)->twinIs(stage_.turns + key);
  }
  ledger.creditIs(stage_.turns);
}

bool Writer::settled() const {
  return running() && ready() && manager().allSent() &&
         std::ranges::all_of(wishes(), [this](const Wish& wish) {
           return manager().mountInfo(wish.path).state == MountState::mounted;
         });
}

// ---- Reader ------------------------------------------------------------------------------------

Reader::~Reader() = default;

void Reader::started() {
  newest_ = 1;
  looked_ = 0;
  watch_ = std::make_unique<ReplicaWatch>(*manager().root());
  watch_->onTold = [this](const Forma::Entity&, const Forma::MemberType&) {
    ++stage_.told;
    const std::uint64_t applied = manager().counters().changesApplied;
    if (std::exchange(looked_, applied) != applied && stage_.wholeTurns) look();
  };
}

void Reader::mounted() {
  snapshots_ = manager().counters().snapshots;
  for (const Wish& wish : wishes())
    if (!find(wish.path)) fail("mounted " + wish.path + ", but there is none");
  if (stage_.wholeTurns) look();
}

void Reader::look() {
  for (const Wish& wish : wishes()) {
    const MountState state = manager().mountInfo(wish.path).state;
    if (state != MountState::mounted && state != MountState::stale) continue;
    if (const auto ledger = find<Ledger>(wish.path)) {
      if (const std::string broken = ledger->broken(); !broken.empty())
        fail(wish.path + ": " + broken);
      if (wish.path != "sim/b/ledger") continue;
      if (ledger->debit() < newest_) fail("saw what was replaced, or nothing");
      newest_ = ledger->debit();
    }
    if (const auto config = find<Mpls::RouteConfig>(wish.path); config && !config->ready())
      fail("saw merged routes that are not ready");
  }
}

void Reader::check() {
  look();
  watch_->check();
  if (!watch_->problem().empty()) fail(watch_->problem());
  if (stage_.keepsLog && manager().counters().snapshots != snapshots_)
    fail("got a snapshot where differences were enough");
}

}  // namespace CentrumSim
