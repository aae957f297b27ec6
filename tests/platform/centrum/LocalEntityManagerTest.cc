#include "platform/centrum/LocalEntityManager.h"

#include <gtest/gtest.h>

#include <functional>
#include <vector>

namespace Centrum {
namespace {

class Leaf : public Forma::NamedEntity {
  FORMA_ENTITY(Centrum::Leaf, Forma::NamedEntity, value)
  FORMA_ATTRIBUTE(std::uint32_t, value, onValue)
 public:
  class NotifieeConst : public Forma::NotifieeOf<Leaf> {
   public:
    virtual void onValue() {}
  };
  using Notifiee = Forma::NotifieeMutable<Leaf, NotifieeConst>;
  explicit Leaf(Forma::Name name) : NamedEntity(std::move(name)) {}
};
FORMA_DEFINE_ENTITY(Leaf)

/// Records each completion, then runs `then`.
struct Recorder : MountCallback {
  void doMountsComplete(MountStatus status, Forma::Ptr<EntityManager>) override {
    seen.push_back(status);
    if (then) then();
  }
  std::vector<MountStatus> seen;
  std::function<void()> then;
};

class LocalEntityManagerTest : public ::testing::Test {
 protected:
  LocalEntityManagerTest() { registry.addEntity<Forma::Dir, Leaf>(); }
  ~LocalEntityManagerTest() override { em->close(); }

  Forma::Ptr<Recorder> mount(std::vector<std::string> paths, const char* mode,
                             const char* type = "Centrum::Leaf", double delay = 0.0) {
    Forma::Ptr<Recorder> recorder(new Recorder);
    const auto group = em->getMountGroup();
    for (const auto& path : paths) group->doMount(path, type, mode);
    group->doClose(recorder, delay);
    EXPECT_TRUE(recorder->seen.empty()) << "completed inside doClose";
    return recorder;
  }
  using Statuses = std::vector<MountStatus>;

  Kiln::TestClock clock;
  Kiln::EventLoop loop{clock};
  Forma::TypeRegistry registry;
  Forma::Ptr<LocalEntityManager> em = localEntityManagerFactory(loop, registry);
};

TEST_F(LocalEntityManagerTest, WritableMountCreatesTheEntityAndItsDirectories) {
  const auto done = mount({"a/b/leaf", "a/other"}, "w");
  loop.runUntilIdle();
  EXPECT_EQ(done->seen, Statuses{mountSuccess()});
  EXPECT_EQ(em->getEntity("a/b/leaf")->fullName(), "a/b/leaf");
  EXPECT_TRUE(Forma::ptrCast<Leaf>(em->getEntity("/a//other/")));
  EXPECT_FALSE(em->getEntity("a/b/none"));
  EXPECT_FALSE(em->getEntity("a/other/below"));
  EXPECT_EQ(em->getEntity(""), em->root());
}

TEST_F(LocalEntityManagerTest, ReadOnlyMountWaitsForAllItsPathsAndCompletesOnce) {
  const auto done = mount({"a/b/one", "two"}, "r");
  loop.runUntilIdle();
  EXPECT_TRUE(done->seen.empty());
  em->newEntity("a/x", "Centrum::Leaf");
  em->newEntity("a/b/one", "Centrum::Leaf");
  loop.runUntilIdle();
  EXPECT_EQ(em->pendingMounts(), 1U);
  em->newEntity("two", "Centrum::Leaf");
  EXPECT_TRUE(done->seen.empty()) << "not through the loop";
  loop.runUntilIdle();
  EXPECT_EQ(done->seen, Statuses{mountSuccess()});
  em->root()->entryNotify("two");
  loop.runUntilIdle();
  EXPECT_EQ(done->seen.size(), 1U);
  EXPECT_EQ(em->pendingMounts(), 0U);
}

TEST_F(LocalEntityManagerTest, DirectoryThatGoesAndComesIsFollowed) {
  em->newEntity("a/b", "Forma::Dir");
  const auto done = mount({"a/b/leaf"}, "r");
  loop.runUntilIdle();
  em->root()->entryDel("a");
  loop.runUntilIdle();
  em->newEntity("a/b/leaf", "Centrum::Leaf");
  loop.runUntilIdle();
  EXPECT_EQ(done->seen, Statuses{mountSuccess()});
}

TEST_F(LocalEntityManagerTest, DefiniteRefusalsAreAStatus) {
  em->newEntity("leaf", "Centrum::Leaf");
  struct Case {
    const char* path;
    const char* mode;
    const char* type;
    MountStatus status;
  };
  for (const Case& c : {Case{"leaf", "r", "Forma::Dir", mountWrongType()},
                        Case{"leaf", "w", "Forma::Dir", mountWrongType()},
                        Case{"leaf/below", "r", "Centrum::Leaf", mountWrongType()},
                        Case{"leaf/below/it", "w", "Centrum::Leaf", mountWrongType()},
                        Case{"x", "r", "Mpls::Nothing", mountRefused()}}) {
    const auto done = mount({"never", c.path}, c.mode, c.type);
    loop.runUntilIdle();
    EXPECT_EQ(done->seen, Statuses{c.status}) << c.path << " " << c.mode << " " << c.type;
  }
  EXPECT_EQ(em->pendingMounts(), 0U);
}

TEST_F(LocalEntityManagerTest, MisuseIsRefusedAndEmptyGroupsComplete) {
  const auto group = em->getMountGroup();
  EXPECT_THROW(group->doMount("a", "Centrum::Leaf", "rw"), Forma::RangeException);
  EXPECT_THROW(group->doClose(nullptr), Forma::NullException);
  Forma::Ptr<Recorder> done(new Recorder);
  group->doClose(done);
  EXPECT_THROW(group->doClose(done), Forma::RangeException);
  EXPECT_THROW(group->doMount("a", "Centrum::Leaf", "r"), Forma::RangeException);
  loop.runUntilIdle();
  EXPECT_EQ(done->seen, Statuses{mountSuccess()});
}

TEST_F(LocalEntityManagerTest, DelayedCloseWaits) {
  const auto done = mount({"a"}, "w", "Centrum::Leaf", 2.0);
  loop.runUntilIdle();
  EXPECT_FALSE(em->getEntity("a"));
  loop.advance(clock, 2.1);
  EXPECT_EQ(done->seen, Statuses{mountSuccess()});
}

TEST_F(LocalEntityManagerTest, ObserversOfWhatAMountMakesMayThrowAndClose) {
  struct Meddler : Forma::Dir::NotifieeConst {
    void onEntry(const Forma::Name&) override { then(); }
    std::function<void()> then = [] { throw Forma::RangeException("from an observer"); };
  } meddler;
  meddler.notifierIs(em->root());
  loop.exceptionHandlerIs([](const std::exception_ptr&) {});
  const auto first = mount({"a/b/leaf"}, "w");
  loop.runUntilIdle();
  EXPECT_EQ(first->seen, Statuses{mountSuccess()});
  EXPECT_EQ(loop.handlerExceptions(), 1U);
  meddler.then = [this] { em->close(); };
  const auto second = mount({"c/leaf"}, "w");
  loop.runUntilIdle();
  EXPECT_TRUE(second->seen.empty());
  EXPECT_EQ(loop.handlerExceptions(), 1U);
}

TEST_F(LocalEntityManagerTest, CallbackMayMountAndCloseDropsWhatIsPending) {
  const auto first = mount({"a"}, "w");
  Forma::Ptr<Recorder> second;
  first->then = [&] { second = mount({"later"}, "r"); };
  loop.runUntilIdle();
  ASSERT_TRUE(second);
  em->close();
  em->newEntity("later", "Centrum::Leaf");
  loop.runUntilIdle();
  EXPECT_TRUE(second->seen.empty());
  EXPECT_EQ(second->references(), 1U);
}

}  // namespace
}  // namespace Centrum
