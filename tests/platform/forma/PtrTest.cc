#include <gtest/gtest.h>

#include <atomic>
#include <string>
#include <thread>
#include <vector>

#include "platform/forma/Errors.h"
#include "platform/forma/Ptr.h"
#include "platform/forma/String8.h"

namespace {

using Forma::Ptr;
using Forma::PtrConst;
using Forma::String8;
using Forma::ValidPtr;

struct Shape : Forma::PtrInterface {
  Shape() { ++living; }
  ~Shape() override { --living; }
  static inline int living = 0;
};
struct Circle : Shape {};
struct Square : Shape {
  ~Square() override {
    const Ptr<Square> self(this);  // harmless while it dies
    EXPECT_GT(references(), 1U);
  }
};
/// Owns the next; the chain is cut from the end that nobody holds.
struct Link : Shape {
  Ptr<Link> next;
};

TEST(PtrTest, CountsOwnersAndDestroysOnce) {
  Ptr<Circle> circle(new Circle);
  const Ptr<Shape> shape = circle;
  const PtrConst<Shape> readOnly(shape);
  EXPECT_EQ(circle->references(), 3U);
  Ptr<Shape> moved = std::move(circle);
  EXPECT_TRUE(!circle && moved->references() == 3);  // NOLINT(bugprone-use-after-move): null then
  EXPECT_TRUE(moved == shape && moved.hash() == shape.hash());
  moved = *&moved;
  Shape* const raw = moved.release();  // the reference is ours now
  EXPECT_TRUE(!moved && shape->references() == 3);
  raw->deleteRef();
  EXPECT_EQ(shape->references(), 2U);
  {
    const Ptr<Square> square(new Square);
    EXPECT_EQ(Shape::living, 2);
  }
  EXPECT_EQ(Shape::living, 1);
}

TEST(PtrTest, CastsToWhatItIsAndToNothingElse) {
  const Ptr<Shape> shape(new Circle);
  EXPECT_EQ(Forma::ptrCast<Circle>(shape).get(), shape.get());
  EXPECT_EQ(Forma::ptrCast<Square>(shape), nullptr);
  EXPECT_EQ(Forma::ptrCast<Square>(Ptr<Shape>()), nullptr);
  EXPECT_EQ(Forma::ptrCast<Circle const>(PtrConst<Shape>(shape)).get(), shape.get());
}

TEST(PtrTest, ValidPointersRefuseNull) {
  const auto error = [](auto f) -> std::string {
    try {
      f();
    } catch (const Forma::NullException& e) {
      return e.what();
    }
    return "no error";
  };
  EXPECT_EQ(error([] { const ValidPtr<Shape> p(nullptr); }), "null ValidPtr");
  EXPECT_EQ(error([] { const ValidPtr<Shape> p{Ptr<Circle>()}; }), "null ValidPtr");
  EXPECT_EQ(error([] { Forma::validPtr(Ptr<Shape>()); }), "null ValidPtr");
  ValidPtr<Shape> valid{Ptr<Circle>(new Circle)};
  EXPECT_EQ(error([&] { valid = Ptr<Shape>(); }), "null ValidPtr");
  EXPECT_EQ(valid->references(), 1U);
}

TEST(PtrTest, AssigningAPartOfTheOwnChain) {
  Ptr<Link> head(new Link);
  head->next = new Link;
  head->next->next = new Link;
  head = head->next;  // the old head dies and with it the pointer that was assigned from
  EXPECT_TRUE(Shape::living == 2 && head->references() == 1);
  head = nullptr;
  EXPECT_EQ(Shape::living, 0);
}

TEST(PtrTest, StringsShareTheirBytes) {
  const String8 text(std::string_view("a\0b", 3));
  const String8 copy = text;
  EXPECT_TRUE(copy.charPtr() == text.charPtr() && copy.size() == 3 && copy.charPtr()[3] == '\0');
  EXPECT_EQ(text + "c", String8(std::string("a\0bc", 4)));
  EXPECT_EQ("" + String8(), String8());
  EXPECT_EQ((text + "").hash(), text.hash());
  EXPECT_TRUE(String8("").empty() && String8(text.begin(), text.begin() + 1) == "a");
}

/// Restores the single-threaded counts for the other tests.
struct ThreadSafe {
  ThreadSafe() { Forma::PtrInterface::threadSafeIs(true); }
  ~ThreadSafe() { Forma::PtrInterface::threadSafeIs(false); }
};

TEST(PtrTest, ThreadSafeCountsSurviveManyOwners) {
  const ThreadSafe mode;
  struct Cell : Shape {
    int content = 0;
    ~Cell() override { EXPECT_EQ(content, 4); }  // sees what every owner wrote
  };
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
}

}  // namespace
