#include "platform/centrum/LocalEntityManager.h"

#include <gtest/gtest.h>

#include <functional>

namespace Centrum {

class Leaf : public Forma::NamedEntity {
  FORMA_ENTITY(Centrum::Leaf, Forma::NamedEntity)
 public:
  class NotifieeConst : public Forma::NotifieeOf<Leaf> {};
  using Notifiee = Forma::NotifieeMutable<Leaf, NotifieeConst>;
  explicit Leaf(Forma::Name name) : NamedEntity(std::move(name)) {}
};
FORMA_DEFINE_ENTITY(Leaf)

namespace {

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
    const Forma::Ptr<Recorder> recorder(new Recorder);
    const auto group = em->getMountGroup();
    for (const auto& path : paths) group->doMount(path, type, mode);
    group->doClose(recorder, delay);
    EXPECT_TRUE(recorder->seen.empty()) << "completed inside doClose";
    return recorder;
  }
  const std::vector<MountStatus> success{mountSuccess()};

  Kiln::TestClock clock;
  Kiln::EventLoop loop{clock};
  Forma::TypeRegistry registry;
  Forma::Ptr<LocalEntityManager> em = localEntityManagerFactory(loop, registry);
};

TEST_F(LocalEntityManagerTest, WritableMountCreatesTheEntityAndItsDirectories) {
  const auto done = mount({"a/b/leaf", "a/other"}, "w");
  const auto delayed = mount({"late"}, "w", "Centrum::Leaf", 2.0);
  loop.runUntilIdle();
  EXPECT_EQ(done->seen, success);
  EXPECT_EQ(em->getEntity("/a//b/leaf/")->fullName(), "a/b/leaf");
  for (const char* path : {"a/b/none", "a/other/below", "late"}) EXPECT_FALSE(em->getEntity(path));
  loop.advance(clock, 2.1);
  EXPECT_EQ(delayed->seen, success);
}

TEST_F(LocalEntityManagerTest, ReadOnlyMountWaitsForAllItsPathsAndCompletesOnce) {
  em->newEntity("a/b", "Forma::Dir");
  const auto done = mount({"a/b/one", "two"}, "r");
  loop.runUntilIdle();
  em->root()->entryDel("a");  // a directory that goes and comes is followed
  loop.runUntilIdle();
  for (const char* path : {"a/x", "a/b/one", "two"}) {
    em->newEntity(path, "Centrum::Leaf");
    EXPECT_TRUE(done->seen.empty()) << "not through the loop";
    loop.runUntilIdle();
  }
  em->root()->entryNotify("two");
  loop.runUntilIdle();
  EXPECT_TRUE(done->seen == success && em->pendingMounts() == 0);
}

TEST_F(LocalEntityManagerTest, DefiniteRefusalsAreAStatus) {
  em->newEntity("leaf", "Centrum::Leaf");
  const auto statusOf = [this](const char* path, const char* mode, const std::string& type) {
    const auto done = mount({"never a " + type, path}, mode, type.c_str());
    loop.runUntilIdle();
    return done->seen.empty() ? mountPending() : done->seen[0];
  };
  EXPECT_EQ(statusOf("leaf", "w", "Forma::Dir"), mountWrongType());
  EXPECT_EQ(statusOf("leaf/below", "r", "Centrum::Leaf"), mountWrongType());
  EXPECT_EQ(statusOf("leaf/below/it", "w", "Centrum::Leaf"), mountWrongType());
  EXPECT_EQ(statusOf("x", "r", "Mpls::Nothing"), mountRefused());
}

TEST_F(LocalEntityManagerTest, MisuseIsRefusedAndEmptyGroupsComplete) {
  const auto group = em->getMountGroup();
  EXPECT_THROW(group->doMount("a", "Centrum::Leaf", "rw"), Forma::RangeException);
  EXPECT_THROW(group->doClose(nullptr), Forma::NullException);
  const Forma::Ptr<Recorder> done(new Recorder);
  group->doClose(done);
  EXPECT_THROW(group->doClose(done), Forma::RangeException);
  EXPECT_THROW(group->doMount("a", "Centrum::Leaf", "r"), Forma::RangeException);
  loop.runUntilIdle();
  EXPECT_EQ(done->seen, success);
}

TEST_F(LocalEntityManagerTest, ObserversAndCallbacksMayThrowMountAndClose) {
  struct Meddler : Forma::Dir::NotifieeConst {
    void onEntry(const Forma::Name&) override { then(); }
    std::function<void()> then = [] { throw Forma::RangeException("from an observer"); };
  } meddler;
  meddler.notifierIs(em->root());
  loop.exceptionHandlerIs([](const std::exception_ptr&) {});
  const auto first = mount({"a/b/leaf"}, "w");
  Forma::Ptr<Recorder> later;
  first->then = [&] { later = mount({"later"}, "r"); };
  loop.runUntilIdle();
  EXPECT_EQ(first->seen, success);
  meddler.then = [this] { em->close(); };
  const auto second = mount({"c/leaf"}, "w");
  loop.runUntilIdle();
  em->newEntity("later", "Centrum::Leaf");
  loop.runUntilIdle();
  EXPECT_TRUE(second->seen.empty() && later->seen.empty() && later->references() == 1);
  EXPECT_EQ(loop.handlerExceptions(), 1U);
}

}  // namespace
}  // namespace Centrum
