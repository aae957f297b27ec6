#include "platform/forma/Ptr.h"

#include <atomic>
#include <thread>
#include <vector>

#include "tests/platform/forma/TestTypes.h"
#include "tests/support/Checks.h"

namespace {

using Forma::Ptr;
using Forma::PtrConst;
using Forma::String8;
using Forma::ValidPtr;

struct Shape : Forma::PtrInterface {
  Shape() { ++living; }
  ~Shape() override {
    const Ptr<Shape> self(this);  // harmless while it dies
    --living;
  }
  static inline std::atomic<int> living = 0;
};
/// Owns the next; the chain is cut from the end that nobody holds.
struct Link : Shape {
  Ptr<Link> next;
};
struct Square : Shape {};

TEST(PtrTest, CountsOwnersDestroysOnceAndCastsToWhatItIs) {
  Ptr<Link> head(new Link);
  const Ptr<Shape> shape = head;
  const PtrConst<Shape> readOnly(shape);
  Ptr<Shape> moved = std::move(head);
  EXPECT_TRUE(!head && moved->references() == 3);  // NOLINT(bugprone-use-after-move): null then
  EXPECT_TRUE(moved == shape && moved.hash() == shape.hash());
  moved = *&moved;
  Shape* const raw = moved.release();  // the reference is ours now
  EXPECT_TRUE(!moved && shape->references() == 3);
  raw->deleteRef();
  EXPECT_EQ(shape->references(), 2U);
  EXPECT_TRUE(Forma::ptrCast<Link>(shape) == shape && !Forma::ptrCast<Square>(shape));
  EXPECT_TRUE(Forma::ptrCast<Link const>(readOnly) && !Forma::ptrCast<Link>(Ptr<Shape>()));
  EXPECT_EQ(Shape::living, 1);
}

TEST(PtrTest, AssigningAPartOfTheOwnChain) {
  Ptr<Link> head(new Link);
  head->next = new Link;
  head = head->next;  // the old head dies and with it the pointer that was
                      // assigned from
  EXPECT_TRUE(Shape::living == 1 && head->references() == 1);
  head = nullptr;
  EXPECT_EQ(Shape::living, 0);
}

TEST(PtrTest, ValidPointersRefuseNull) {
  ValidPtr<Shape> valid{Ptr<Square>(new Square)};
  const std::function<void()> refused[] = {[] { const ValidPtr<Shape> p(nullptr); },
                                           [] { const ValidPtr<Shape> p{Ptr<Square>()}; },
                                           [&] { valid = Ptr<Shape>(); }};
  for (const auto& f : refused) EXPECT_EQ(Checks::raised<Forma::NullException>(f), "null ValidPtr");
  EXPECT_EQ(valid->references(), 1U);
}

TEST(PtrTest, StringsShareTheirBytes) {
  const String8 text(std::string_view("a\0b", 3)), copy = text;
  EXPECT_TRUE(copy.charPtr() == text.charPtr() && copy.size() == 3 && copy.charPtr()[3] == '\0');
  EXPECT_EQ(text + "c", String8(std::string("a\0bc", 4)));
  EXPECT_EQ("" + String8(), String8());
  EXPECT_TRUE(String8("").empty() && String8(text.begin(), text.begin() + 1) == "a");
}

TEST(PtrTest, ThreadSafeCountsSurviveManyOwners) {
  struct Cell : Shape {
    int content = 0;
    ~Cell() override { EXPECT_EQ(content, 4); }  // sees what every owner wrote
  };
  Forma::PtrInterface::threadSafeIs(true);
  for (int round = 0; round < 200; ++round) {
    Ptr<Cell> cell(new Cell);
    const String8 text("shared by all");
    std::vector<std::thread> threads;
    std::atomic_ref<int> content(cell->content);
    for (int i = 0; i < 4; ++i)
      threads.emplace_back([cell, text, content]() mutable {
        for (int n = 0; n < 50; ++n) {
          const Ptr<Cell> copy = cell;
          const String8 same = text;
        }
        content.fetch_add(1, std::memory_order_relaxed);
        cell = nullptr;
      });
    cell = nullptr;  // some thread is the last
    for (std::thread& one : threads) one.join();
    EXPECT_EQ(Shape::living, 0);
  }
  Forma::PtrInterface::threadSafeIs(false);
}

}  // namespace
