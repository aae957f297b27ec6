// Entities of every registered type, changed at random in one process: the copies in another one
// are equal, and their notifiees hear of exactly what changed. Client, server and wire are those of
// production; the network and the clock are simulated.
#include <gtest/gtest.h>

#include <set>

#include "ldp/Registration.h"
#include "mpls/entities/Registration.h"
#include "mpls/lfib/Registration.h"
#include "platform/centrum/ConnectedEntityManager.h"
#include "platform/centrum/Registration.h"
#include "platform/centrum/Server.h"
#include "tests/support/ContentText.h"
#include "tests/support/RandomEntities.h"
#include "tests/support/ReplicaWatch.h"
#include "tests/support/SimNetwork.h"

namespace Mpls {
namespace {

using Centrum::ConnectedEntityManager;
using Forma::Entity;
using Forma::Ptr;

class Completion final : public Centrum::MountCallback {
 public:
  void doMountsComplete(Centrum::MountStatus status, Ptr<Centrum::EntityManager>) override {
    statuses.push_back(status);
  }
  std::vector<Centrum::MountStatus> statuses;
};

class ReplicationTest : public ::testing::Test {
 protected:
  ReplicationTest() {
    registerEntityTypes(registry);
    registerLfibTypes(registry);
    Ldp::registerEntityTypes(registry);
    Centrum::registerTypes(registry);
    network.capacity(5000);  // less than some messages
  }
  ~ReplicationTest() override {
    writer->close();
    reader->close();
  }

  Ptr<ConnectedEntityManager> newClient(const std::string& name) {
    return Centrum::connectedEntityManagerFactory(loop, registry, network.connector(name), {name});
  }
  /// Mounts one entity of each type that a name can make.
  void mountAll(const Ptr<ConnectedEntityManager>& client, const char* mode) {
    const auto group = client->getMountGroup();
    for (const auto& [name, type] : registry.entities())
      if (type->make && name != "Forma::Dir") group->doMount(pathOf(name), name, mode);
    const Ptr<Completion> done = new Completion;
    group->doClose(done);
    run(5);
    ASSERT_EQ(done->statuses, std::vector{Centrum::mountSuccess()}) << mode;
  }
  static std::string pathOf(std::string_view type) { return "all/" + std::string(type); }
  void run(double seconds) { loop.advance(clock, seconds); }

  /// One turn of the writer's loop.
  void change() {
    loop.post([this] {
      for (auto i = 1 + random.below(10); i > 0; --i, ++steps) {
        auto at = std::next(registry.entities().begin(), random.below(registry.entities().size()));
        if (const auto entity = writer->getEntity(pathOf(at->first))) random.step(*entity);
      }
    });
  }
  void noteTypes(const Entity& entity) {
    seen.insert(entity.formaType().name);
    for (const Forma::MemberType& member : entity.formaType().members)
      if (member.kind != Forma::MemberKind::table && !member.replica.value)
        member.each(entity, [&](const void*, const void* element) {
          noteTypes(*static_cast<const Entity*>(element));
        });
  }
  /// All that can be mounted, or stand in others, were there.
  void expectAllTypesSeen() const {
    for (const auto& [name, type] : registry.entities()) {
      EXPECT_TRUE(!type->make || seen.contains(name)) << name;
      for (const Forma::MemberType& member : type->members) {
        const bool any = member.replica.value || !Forma::isContent(member.kind);
        EXPECT_TRUE(any || seen.contains(member.valueType)) << member.valueType;
      }
    }
  }

  Forma::TypeRegistry registry;
  Kiln::TestClock clock;
  Kiln::EventLoop loop{clock};
  SimNetwork network{loop, 1};
  Centrum::Server server{loop, network.listener(), nullptr};
  Ptr<ConnectedEntityManager> writer = newClient("writer"), reader = newClient("reader");
  RandomEntities random{registry, 1};
  int steps = 0;
  std::set<std::string_view> seen;
};

TEST_F(ReplicationTest, EveryTypeFollowsEveryChange) {
  mountAll(writer, "w");
  mountAll(reader, "r");
  ReplicaWatch watch(*reader->root());
  while (steps < 12000) {
    change();
    if (random.below(4) == 0) continue;  // several turns may arrive as one
    run(1);
    watch.check();
    ASSERT_EQ(watch.problem() + difference(*reader->root(), *writer->root()), "") << steps;
    noteTypes(*reader->root());
  }
  EXPECT_GT(watch.told(), 4000U);
  expectAllTypesSeen();
  reader->close();
  reader = newClient("late");
  mountAll(reader, "r");
  EXPECT_EQ(difference(*reader->root(), *writer->root()), "");
}

}  // namespace
}  // namespace Mpls
