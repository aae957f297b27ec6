#include "faults/CentrumWorld.h"

#include <algorithm>

#include "tests/support/ContentText.h"

namespace CentrumSim {

World::World(std::uint32_t seed) : stage_(seed), server_(stage_) {
  stage_.keepsLog = stage_.chance(2);
  stage_.wholeTurns = !stage_.chance(3);
  stage_.network.capacity(stage_.chance(3) ? 64000 : 300 + random(3000));
  stage_.loop.exceptionHandlerIs([this](const std::exception_ptr& problem) {
    try {
      std::rethrow_exception(problem);
    } catch (const std::exception& e) {
      stage_.fail(std::string("a handler raised ") + e.what());
    }
  });
  const std::string ledger = "CentrumSim::Ledger", dir = "Forma::Dir";
  const std::vector<Wish> first = {{"sim/a/ledger", ledger, "w"},
                                   {"sim/routes/in", "Mpls::RouteConfigInput", "w"}};
  const std::vector<Wish> second = {{"sim/b/ledger", ledger, "x"},
                                    {"sim/routes/out", "Mpls::RouteConfig", "x"}};
  const std::vector<Wish> third = {{"late/ledger", ledger, "w"}};
  std::vector<Wish> all;
  for (const auto& wishes : {first, second, third})
    for (const Wish& wish : wishes) all.push_back({wish.path, wish.type, "r"});
  std::vector<Wish> some = {all[0], all[2], {"sim", dir, "r"}, {"sim/routes", dir, "r"}};
  std::vector<Wish> withDirs = all;
  for (const char* path : {"", "sim", "sim/a", "sim/routes"}) withDirs.push_back({path, dir, "r"});
  for (const auto& [name, wishes] :
       {std::pair{"first", first}, {"second", second}, {"third", third}})
    writers_.push_back(std::make_unique<Writer>(stage_, name, wishes));
  heir_ = std::make_unique<Writer>(stage_, "heir", first);
  heir_->wanted = false;
  for (const auto& [name, wishes] :
       {std::pair{"all", all}, {"some", some}, {"dirs", withDirs}, {"late", {all[4]}}})
    readers_.push_back(std::make_unique<Reader>(stage_, name, wishes));
  for (const auto& one : writers_) all_.push_back(one.get());
  for (const auto& one : readers_) all_.push_back(one.get());
}

World::~World() = default;

std::string World::run() {
  server_.onPowerCut = [this] { writers_[random(3)]->kill(); };
  for (int i = 0; i < 80 && stage_.problem.empty(); ++i) {
    step();
    const std::uint32_t pause = random(20);
    stage_.loop.advance(stage_.clock, pause == 0 ? 20.0 : pause < 4 ? 0.5 : 0.001 * pause);
  }
  if (stage_.problem.empty()) settle();
  if (stage_.problem.empty()) compare();
  return stage_.problem;
}

// ---- What happens ------------------------------------------------------------------------------

void World::step() {
  const std::uint32_t what = random(20);
  if (what < 11) {
    writers_[random(3)]->change();
    heir_->change();
  } else if (what < 13) {
    server_.disturb();
  } else if (what < 15) {
    disturbOwners();
  } else if (what < 18) {
    disturbReader(*readers_[random(4)]);
  } else {
    disturbNetwork();
  }
  if (what % 3 == 0) all_[random(all_.size())]->start();
}

void World::disturbOwners() {
  Writer& writer = *writers_[random(3)];
  if (stage_.chance(4)) return takeOver();
  if (writer.running()) writer.kill();
  else writer.start();
}

/// The owner is frozen while the server goes: another one takes its paths over. In the end that one
/// goes, and the first may have them back.
void World::takeOver() {
  heir_->wanted = !heir_->wanted;
  stage_.network.freeze(writers_[0]->name(), false);
  if (!heir_->wanted) return heir_->kill();
  if (stage_.chance(2)) {
    stage_.network.freeze(writers_[0]->name(), true);
    server_.kill();
    server_.start();
  } else {
    writers_[0]->kill();
  }
  heir_->start();
}

void World::disturbReader(Reader& reader) {
  switch (random(6)) {
    case 0:
      return reader.kill();
    case 1:
      return reader.start();
    case 2:
      return stage_.network.freeze(reader.name(), true);
    case 3:
      return stage_.network.freeze(reader.name(), false);
    case 4:
      return stage_.network.rate(reader.name(), 300.0 * (1 + random(20)));
    default:
      return stage_.network.rate(reader.name(), 0);
  }
}

void World::disturbNetwork() {
  Process& one = *all_[random(all_.size())];
  switch (random(4)) {
    case 0:
      return stage_.network.cutAll();
    case 1:
      return stage_.network.delay(0, stage_.chance(2) ? 0.002 : 0.2);
    case 2:
      return stage_.network.capacity(100 + random(20000));
    default:
      return stage_.network.cut(one.name());
  }
}

// ---- What must come of it ----------------------------------------------------------------------

/// All goes well from now on: everybody must get what there is.
void World::settle() {
  heir_->wanted = false;
  heir_->kill();
  stage_.network.delay(0, 0.002);
  for (Process* one : all_) {
    stage_.network.freeze(one->name(), false);
    stage_.network.rate(one->name(), 0);
    one->start();
  }
  server_.settle();
  stage_.loop.advance(stage_.clock, 10);  // what was frozen hears that it is no owner any more
  for (int i = 0; i < 40 && !settled(); ++i) stage_.loop.advance(stage_.clock, 1);
  stage_.loop.advance(stage_.clock, 1);
  for (Process* one : all_)
    if (!one->ready()) stage_.fail(one->name() + " waits for its mounts for ever");
  for (const auto& one : writers_)
    if (!one->settled()) stage_.fail(one->name() + " cannot send what it has");
}

bool World::settled() const {
  return std::ranges::all_of(all_, [](const Process* one) { return one->ready(); }) &&
         std::ranges::all_of(writers_, [](const auto& one) { return one->settled(); });
}

void World::compare() {
  for (const auto& reader : readers_) {
    reader->check();
    for (const auto& writer : writers_)
      for (const Wish& wish : writer->wishes()) {
        if (!reader->mounts(wish.path)) continue;
        const auto is = reader->find(wish.path), due = writer->find(wish.path);
        if (!is || !due) return stage_.fail(reader->name() + " or the owner lacks " + wish.path);
        if (const std::string text = difference(*is, *due); !text.empty())
          stage_.fail(reader->name() + " differs in " + wish.path + ":\n" + text);
      }
  }
}

}  // namespace CentrumSim
