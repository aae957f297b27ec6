// Changes of an original, as bytes, applied to a replica: by random changes of all kinds, turn by
// turn, against the content of the original and against what the replica's notifiees hear.
#include "platform/forma/Content.h"

#include "platform/forma/Errors.h"
#include "tests/platform/forma/TestTypes.h"
#include "tests/support/ContentText.h"
#include "tests/support/RandomEntities.h"
#include "tests/support/ReplicaWatch.h"

namespace FormaTest {
namespace {

using Forma::Entity;
using Forma::Ptr;

/// The root of a tree whose originals are recorded.
class Recorder final : public Forma::Dir, public Forma::ChangeLog {
 public:
  Recorder() : Dir("root") {}
  Forma::ChangeLog* formaLog() const override { return const_cast<Recorder*>(this); }
  void changed(const Entity& entity, const Forma::MemberType& member, const void* key) override {
    std::string path;
    Forma::encodePath(path, *of, entity, member, key);
    paths.insert(path);
  }
  void refuse(const Entity& entity) const override {
    Forma::throwAccessException("refused " + entity.fullName());
  }
  /// What changed since the last call.
  std::string changes() {
    std::string records;
    Forma::encodeChanges(records, *of, paths);
    paths.clear();
    return records;
  }

  Ptr<Entity> of;
  Forma::ByteSet paths;
};

std::string contentOf(const Entity& entity) {
  std::string records;
  Forma::encodeContent(records, entity);
  return records;
}

/// An original and a replica of it that somebody watches.
class Pair {
 public:
  explicit Pair(std::uint32_t seed) : random((registerTypes(registry), registry), seed) {
    root->of = original;
    root->entryIs(original);
    original->formaReplicaIs(Forma::Replica::original);
    replica->formaReplicaIs(Forma::Replica::copy);
  }
  void turn() {
    for (auto i = 1 + random.below(8); i > 0; --i) random.step(*original);
  }
  void tell() {
    applier.tell([](const std::exception_ptr&) { FAIL() << "a notifiee raised"; });
    watch.check();
  }
  /// In what the replica differs from the original, or from what its notifiees know.
  std::string wrong() const { return watch.problem() + difference(*replica, *original); }
  void snapshot(const std::string& content) {
    applier.beginSnapshot(*replica);
    applier.apply(*replica, content);
    applier.endSnapshot(*replica);
  }

  Forma::TypeRegistry registry;
  RandomEntities random;
  const Ptr<Recorder> root = new Recorder;
  const Ptr<Rack> original = rackFactory("rack"), replica = rackFactory("rack");
  ReplicaWatch watch{*replica};
  Forma::ContentApplier applier;
};

TEST(ContentTest, ReplicaAndItsNotifieesFollowEveryTurn) {
  for (std::uint32_t seed = 1; seed <= 60; ++seed) {
    Pair pair(seed);
    bool untold = false;
    for (int turn = 0; turn < 100; ++turn) {
      SCOPED_TRACE(testing::Message() << "seed " << seed << ", turn " << turn);
      pair.turn();
      const std::string changes = pair.root->changes();
      const bool lost = pair.random.below(10) == 0;  // until the next snapshot
      if (lost) pair.turn(), pair.root->paths.clear(), pair.snapshot(contentOf(*pair.original));
      else pair.applier.apply(*pair.replica, changes);
      pair.watch.mayReturn = untold;
      untold = pair.random.below(4) == 0;  // several deltas, then tell
      if (untold) continue;
      pair.tell();
      ASSERT_EQ(pair.wrong(), "");
      const std::size_t told = pair.watch.told();
      if (!lost) pair.applier.apply(*pair.replica, changes);
      pair.snapshot(contentOf(*pair.original));
      pair.tell();
      ASSERT_EQ(pair.watch.told(), told) << "nothing had changed";
    }
    EXPECT_EQ(pair.applier.refused(), 0U) << pair.applier.refusal();
    EXPECT_GT(pair.watch.told(), 100U);
  }
}

TEST(ContentTest, CopiesRefuseAllChanges) {
  Pair pair(1);
  for (int i = 0; i < 300; ++i) pair.random.step(*pair.original);
  pair.snapshot(contentOf(*pair.original));
  pair.tell();
  const std::size_t told = pair.watch.told();
  int refused = 0;
  for (int i = 0; i < 3000; ++i) try {
      pair.random.step(*pair.replica);
    } catch (const Forma::AccessException&) {
      ++refused;
    }
  EXPECT_EQ(pair.wrong(), "");
  EXPECT_EQ(pair.watch.told(), told);
  EXPECT_GT(refused, 2000);
}

/// Damaged bytes are refused as a whole, or in part, or say something else; whatever became of the
/// replica, its notifiees know it, and the next snapshot puts it right.
TEST(ContentTest, DamagedBytesDoNoHarm) {
  int whole = 0, refused = 0, taken = 0;
  for (std::uint32_t seed = 1; seed <= 6; ++seed) {
    Pair pair(seed);
    pair.watch.mayReturn = true;
    for (int i = 0; i < 40; ++i) pair.random.step(*pair.original);
    const auto apply = [&](const std::string& bytes) {
      const auto before = contentLines(*pair.replica);
      const std::uint64_t refusedBefore = pair.applier.refused();
      try {
        pair.applier.apply(*pair.replica, bytes);
        ++(pair.applier.refused() == refusedBefore ? taken : refused);
      } catch (const Forma::ParseException&) {
        ++whole;
        ASSERT_TRUE(!pair.applier.changed() && contentLines(*pair.replica) == before);
      }
      pair.tell();
      ASSERT_EQ(pair.watch.problem(), "");
    };
    const std::string good = contentOf(*pair.original);
    std::string bad = good;
    for (std::size_t i = 0; i < good.size() && !HasFatalFailure(); ++i) {
      apply(good.substr(0, i));
      for (const int change : {1, 2, 4, 0x80, 0xff}) {
        bad[i] = static_cast<char>(good[i] ^ change);
        apply(bad);
      }
      bad[i] = good[i];
      if (i % 16 != 0) continue;
      pair.snapshot(good);
      pair.tell();
      ASSERT_EQ(pair.wrong(), "") << "seed " << seed << ", byte " << i;
    }
  }
  EXPECT_GT(whole, 1000);
  EXPECT_GT(refused, 100);
  EXPECT_GT(taken, 100);
}

}  // namespace
}  // namespace FormaTest
