// numberer NAME...: gives each name a number from 100 to 199, publishes which, and stays until
// SIGINT or SIGTERM. A name that had a number before keeps it, however this program ended.
#include <set>

#include "Agent.h"
#include "Ledger.h"
#include "platform/kiln/NumAllocator.h"

class Numberer {
 public:
  Numberer(Forma::Ptr<Example::Ledger> ledger, Kiln::EventLoop& loop)
      : ledger_(std::move(ledger)),
        numbers_(Kiln::numAllocatorFactory(Kiln::numAllocatorConfigFactory({100, 199}, 1),
                                           Kiln::numAllocatorStatusFactory(), loop.timers())) {
    adopt();
  }

  void namesAre(const std::set<Forma::Name>& wanted) {
    for (const auto& there : ledger_->numberIteratorConst())
      if (!wanted.contains(there.key)) giveBack(there.key);
    for (const Forma::Name& name : wanted)
      if (!ledger_->numberFind(name)) give(name);
  }

 private:
  // What is published is what our readers act on: nobody else may get these numbers.
  void adopt() {
    for (const auto& there : ledger_->numberIteratorConst()) {
      numbers_->reserveNumber(there.value);
      std::printf("%s keeps %u\n", there.key.charPtr(), there.value);
    }
  }
  void give(const Forma::Name& name) {
    const std::int64_t number = numbers_->getNumber();
    if (number < 0) return;  // none is free
    ledger_->numberIs(name, static_cast<std::uint32_t>(number));
    std::printf("%s gets %u\n", name.charPtr(), ledger_->number(name));
  }
  void giveBack(const Forma::Name& name) {
    const std::uint32_t number = ledger_->number(name);
    ledger_->numberDel(name);
    numbers_->releaseNumber(number);
    std::printf("%s gives %u back\n", name.charPtr(), number);
  }

  const Forma::Ptr<Example::Ledger> ledger_;
  const Forma::Ptr<Kiln::NumAllocator> numbers_;
};

int main(int argc, char** argv) {
  std::set<Forma::Name> names;
  for (int i = 1; i < argc; ++i) names.emplace(argv[i]);
  Agent agent("numberer");
  agent.types().addEntity<Example::Ledger>();
  std::unique_ptr<Numberer> numberer;
  const auto start = [&](const Forma::Ptr<Example::Ledger>& ledger) {
    numberer = std::make_unique<Numberer>(ledger, agent.loop());
    numberer->namesAre(names);
  };
  agent.mount<Example::Ledger>("example/ledger", "w", start);
  // From here on what was decided outlives us: the database has it in its log.
  if (!agent.loop().runUntil([&] { return numberer && agent.allSent(); }, Kiln::EventLoop::forever))
    return 1;
  std::printf("published\n");
  agent.loop().run();
}
