// What clients do when owners, connections and servers come and go. Random orders of all that are
// the simulation's (faults/CentrumSimTest.cc); here are those that took thought.
#include <gtest/gtest.h>

#include <set>

#include "platform/centrum/ConnectedEntityManager.h"
#include "platform/centrum/Registration.h"
#include "platform/centrum/Server.h"
#include "tests/support/SimNetwork.h"

namespace CentrumClient {

class Table : public Forma::NamedEntity {
  FORMA_ENTITY(CentrumClient::Table, Forma::NamedEntity, row)
  FORMA_VALUES(std::uint32_t, Forma::String8, row, newRow, onRow)
 public:
  class NotifieeConst : public Forma::NotifieeOf<Table> {
   public:
    virtual void onRow(const std::uint32_t& /*key*/) {}
  };
  using Notifiee = Forma::NotifieeMutable<Table, NotifieeConst>;
  explicit Table(Forma::Name name) : NamedEntity(std::move(name)) {}
};
FORMA_DEFINE_ENTITY(CentrumClient::Table)

namespace {

using Centrum::MountStatus;
using Manager = Forma::Ptr<Centrum::ConnectedEntityManager>;

struct Done : Centrum::MountCallback {
  void doMountsComplete(MountStatus status, Forma::Ptr<Centrum::EntityManager>) override {
    statuses.push_back(status);
    if (then) then();
  }
  std::vector<MountStatus> statuses;
  std::function<void()> then;
};
using Mounting = Forma::Ptr<Done>;
const std::vector success{Centrum::mountSuccess()};
const std::vector refusal{Centrum::mountRefused()};

class ClientTest : public ::testing::Test {
 protected:
  ClientTest() {
    Centrum::registerTypes(registry);
    registry.addEntity<Table>();
    loop.exceptionHandlerIs([](const std::exception_ptr&) {});
    serve();
  }
  ~ClientTest() override {
    for (const Manager& one : managers) one->close();
  }
  void serve() { server = std::make_unique<Centrum::Server>(loop, network.listener(), nullptr); }
  Manager client(const std::string& name) {
    return managers.emplace_back(
        Centrum::connectedEntityManagerFactory(loop, registry, network.connector(name), {name}));
  }
  Mounting mount(const Manager& by, std::vector<std::pair<std::string, std::string>> wishes,
                 std::function<void()> then = {}) {
    Mounting done(new Done);
    done->then = std::move(then);
    const auto group = by->getMountGroup();
    for (const auto& [path, mode] : wishes)
      group->doMount(Forma::String8(path), Table::formaTypeName, Forma::String8(mode));
    group->doClose(done);
    return done;
  }
  static Forma::Ptr<Table> table(const Manager& of, std::string_view path) {
    return Forma::ptrCast<Table>(of->getEntity(Forma::String8(path)));
  }
  void run(double seconds = 3) { loop.advance(clock, seconds); }

  Kiln::TestClock clock;
  Kiln::EventLoop loop{clock};
  SimNetwork network{loop, 1};
  Forma::TypeRegistry registry;
  std::unique_ptr<Centrum::Server> server;
  std::vector<Manager> managers;
};

TEST_F(ClientTest, WhatWasOnItsWayWhenTheServerDiedIsSentAgain) {
  const Manager writer = client("writer"), reader = client("reader");
  const auto owned = mount(writer, {{"t", "w"}}, [&] {
    for (std::uint32_t i = 0; i < 6000; ++i) table(writer, "t")->rowIs(i, std::string(1000, 'x'));
  });
  network.rate("writer", 1e6);
  run(2);
  server = nullptr;  // in the middle of a batch larger than what may be unacknowledged
  run();
  network.rate("writer", 0);
  serve();
  const auto read = mount(reader, {{"t", "r"}});
  run(10);
  EXPECT_TRUE(writer->allSent());
  ASSERT_EQ(read->statuses, success);
  EXPECT_EQ(table(reader, "t")->rows(), 6000U);
}

TEST_F(ClientTest, AGroupThatFailsGivesBackWhatItTookAndMayBeAskedForAgain) {
  const Manager first = client("first"), second = client("second"), third = client("third");
  EXPECT_EQ((mount(first, {{"x", "w"}}), run(), first->mountInfo("x").state),
            Centrum::MountState::mounted);
  const auto failed = mount(second, {{"y", "w"}, {"x", "w"}});
  run();
  EXPECT_EQ(failed->statuses, refusal);
  EXPECT_NE(second->mountInfo("x").problem.find("is owned by first"), std::string::npos);
  const auto taken = mount(third, {{"y", "w"}});
  run();
  EXPECT_EQ(taken->statuses, success);
  first->close();
  run();
  const auto again = mount(second, {{"x", "w"}});
  run();
  EXPECT_EQ(again->statuses, success);
}

TEST_F(ClientTest, AnOwnerPublishesEvenWhenItThrowsOrGoesWithoutAWord) {
  const Manager owner = client("owner"), reader = client("reader"), late = client("late");
  mount(owner, {{"t", "w"}}, [&] {
    table(owner, "t")->rowIs(1, "one");
    throw std::runtime_error("a callback that fails");
  });
  mount(owner, {{"silent", "w"}, {"never", "r"}});  // never complete: nothing is published
  const auto read = mount(reader, {{"t", "r"}});
  const auto waits = mount(reader, {{"silent", "r"}});
  run();
  EXPECT_EQ(read->statuses, success);
  EXPECT_EQ(table(reader, "t")->row(1), "one");
  EXPECT_TRUE(waits->statuses.empty());
  owner->close();
  run();
  EXPECT_EQ(waits->statuses, success);
  EXPECT_FALSE(reader->mountInfo("t").ownerPresent);
}

TEST_F(ClientTest, AnOwnerThatComesBackDoesNotOverwriteWhatAnotherWrote) {
  const Manager first = client("first");
  mount(first, {{"t", "w"}}, [&] { table(first, "t")->rowIs(1, "first"); });
  run();
  network.cut("first");
  network.freeze("first", true);
  run(1);
  const Manager second = client("second"), reader = client("reader");
  mount(second, {{"t", "w"}}, [&] {
    EXPECT_EQ(table(second, "t")->row(1), "first") << "it starts from what is published";
    table(second, "t")->rowIs(1, "second");
  });
  run();
  second->close();
  network.freeze("first", false);
  run();
  mount(reader, {{"t", "r"}});
  run();
  EXPECT_EQ(table(reader, "t")->row(1), "second");
  EXPECT_EQ(first->mountInfo("t").state, Centrum::MountState::refused);
  EXPECT_NE(first->mountInfo("t").problem.find("written by another"), std::string::npos);
}

/// As the merge of routes does, which counts on it: a key that leaves two inputs at once.
TEST_F(ClientTest, WhoHearsOfOnePathFindsInOthersWhatItWasToldOfThem) {
  struct Reactor : Table::NotifieeConst {
    void onRow(const std::uint32_t& key) override {
      told.contains(key) && notifier()->rowFind(key) == nullptr ? (void)told.erase(key)
                                                                : (void)told.insert(key);
      for (const std::uint32_t one : other->told)
        EXPECT_NE(other->notifier()->rowFind(one), nullptr) << "gone, and nobody said so";
    }
    std::set<std::uint32_t> told;
    Reactor* other = this;
  } a, b;
  const Manager owner = client("owner"), reader = client("reader");
  const auto fill = [&](const char* path) { table(owner, path)->rowIs(1, "one"); };
  mount(owner, {{"a", "w"}, {"b", "w"}}, [&] { fill("a"), fill("b"); });
  mount(reader, {{"a", "r"}, {"b", "r"}}, [&] {
    a.notifierIs(table(reader, "a"));
    b.notifierIs(table(reader, "b"));
    a.told = b.told = {1};
    a.other = &b;
    b.other = &a;
  });
  run();
  loop.post([&] { table(owner, "a")->rowDel(1), table(owner, "b")->rowDel(1); });
  run();
  EXPECT_TRUE(a.told.empty() && b.told.empty());
}

}  // namespace
}  // namespace CentrumClient
