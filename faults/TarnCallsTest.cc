// Each call of the kernel that a table is made, grown, cleaned, renewed, adopted or read with fails
// once, at each place where it is made: the operation says so, nothing that was there is lost, and
// the next try succeeds.
#include <gtest/gtest.h>

#include <iostream>
#include <memory>
#include <optional>
#include <random>
#include <system_error>

#include "faults/TarnRows.h"
#include "platform/kiln/EventLoop.h"
#include "platform/tarn/DirectoryStorage.h"
#include "platform/tarn/ReaderDirectory.h"
#include "platform/tarn/WriterDirectory.h"
#include "tests/platform/tarn/Folder.h"
#include "tests/platform/tarn/OneFails.h"

namespace TarnFaults {
namespace {

using Tarn::Folder;
using Tarn::OneFails;
using Tarn::TableReader;
using Look = TableReader::Look;

struct Sums {
  std::uint64_t calls = 0;     ///< that failed
  std::uint64_t failures = 0;  ///< that operations told of
};

/// Runs a Scene for each call that it makes and for each way in which that one fails, until none is
/// left to fail. No descriptor may be left over.
template <class Scene>
Sums failEachCall() {
  const std::size_t before = Tarn::descriptors();
  Sums sums;
  for (unsigned variant = 0; variant < 4; ++variant)
    for (std::uint64_t which = 0; !testing::Test::HasFailure(); ++which) {
      Scene scene;
      OneFails one(which, variant);
      try {
        scene.run();
      } catch (const std::exception& e) {
        ADD_FAILURE() << "raised twice: " << e.what();
      }
      EXPECT_FALSE(testing::Test::HasFailure())
          << "call " << which << ", variant " << variant << ": " << one.failed() << " failed";
      if (!one.hasFailed()) break;
      ++sums.calls;
      sums.failures += scene.failures();
    }
  EXPECT_EQ(Tarn::descriptors(), before);
  return sums;
}

// ---- A table under them -------------------------------------------------------------------------

constexpr Kind kind{tinyGeometry, 60, false};

/// One table and its reader, put through all that takes calls of the kernel. What fails is tried
/// again, once.
class Course {
 public:
  Course() : ledger_(kind.keys) {}

  void run() {
    refresh();
    attach();
    std::mt19937 random(1);
    for (int i = 0; i < 150; ++i) {
      const Key key = random() % kind.keys;
      if (random() % 3 != 0) put(key);
      else remove(key);
      if (i % 20 == 0) refresh();
    }
    try {
      writer_->renew();
    } catch (const std::system_error&) {
      ++failures_;  // it goes on without
    }
    for (Key key = 0; key < 20; ++key) put(key);
    refresh();
    tryTwice("renewal", [this] { writer_->renew(); });
    for (Key key = 0; key < 20; ++key) put(key);
    refresh();
    writer_.reset();
    storage_.reset();
    attach();
    for (Key key = 10; key < 30; ++key) put(key);
    for (Key key = 0; key < kind.keys; ++key) remove(key);
    refresh();
  }
  std::uint64_t failures() const { return failures_; }

 private:
  /// Whether `act` raised the first time. Nothing may be lost by that.
  template <class Act>
  bool tryTwice(const char* what, Act act) {
    try {
      act();
      return false;
    } catch (const std::system_error& e) {
      ++failures_;
      EXPECT_NE(std::string(e.what()), "");
    }
    SCOPED_TRACE(std::string("after a failed ") + what);
    checkRows();
    act();
    return true;
  }
  void attach() {
    tryTwice("attach", [this] {
      writer_.reset();
      storage_ = Tarn::directoryStorageFactory(folder_.path, {});
      writer_.emplace(*storage_, shapeOf(kind), 1, [this](const std::string& text) { hear(text); });
    });
    EXPECT_EQ(ledger_.settle(*writer_, kind.fixedSize), "");
  }
  /// What may wait is not raised but reported; there is no damage.
  void hear(const std::string& text) {
    ++failures_;
    for (const char* sign : {"damage", "aside", "anew"})
      EXPECT_EQ(text.find(sign), std::string::npos) << text;
  }
  void put(Key key) {
    const Row row(key, ledger_.begin(key, true), kind.fixedSize);
    tryTwice("put", [&] { writer_->put(row.bytes(), row.size()); });
    ledger_.end(key);
    EXPECT_EQ(check(writer_->view(), key), "");
  }
  void remove(Key key) {
    ledger_.begin(key, false);
    tryTwice("removal", [&] { writer_->remove(bytesOf(key)); });
    ledger_.end(key);
    EXPECT_EQ(check(writer_->view(), key), "");
  }
  /// The reader reports what it could not get, and has it the next time.
  void refresh() {
    Tarn::KeyList keys;
    reader_.refresh(Look::everywhere, &keys);
    reader_.refresh(Look::everywhere, &keys);
    for (std::size_t i = 0; i < keys.size(); ++i) {
      const Key key = Tarn::load64(keys[i]);
      told_[key] = versionIn(reader_.told(), key, kind.fixedSize);
    }
    if (!writer_) return;
    EXPECT_EQ(reader_.problem(), "");
    for (Key key = 0; key < kind.keys; ++key) {
      EXPECT_EQ(check(reader_.view(), key), "") << "the reader";
      EXPECT_EQ(told_[key], versionIn(reader_.view(), key, kind.fixedSize)) << "key " << key;
    }
  }
  void checkRows() {
    for (Key key = 0; key < kind.keys; ++key) {
      EXPECT_EQ(writer_ ? check(writer_->view(), key) : "", "");
      EXPECT_NE(versionIn(reader_.view(), key, kind.fixedSize), notWhole) << "key " << key;
    }
  }
  std::string check(const Tarn::TableView& view, Key key) const {
    return ledger_.check(key, [&] { return versionIn(view, key, kind.fixedSize); });
  }

  const Folder folder_;
  const Ledger ledger_;
  std::unique_ptr<Tarn::Storage> storage_;
  std::optional<Tarn::TableWriter> writer_;
  const std::unique_ptr<Tarn::Storage> read_ = Tarn::directoryStorageFactory(folder_.path);
  TableReader reader_{*read_, shapeOf(kind), TableReader::Follow::yes, [](const std::string&) {}};
  std::vector<Version> told_ = std::vector<Version>(kind.keys);
  std::uint64_t failures_ = 0;
};

TEST(TarnCallsTest, EachCallMayFailOnce) {
  const Sums sums = failEachCall<Course>();
  std::cout << "simulated a failure of each of " << sums.calls << " calls, " << sums.failures
            << " times an operation raised or reported that" << std::endl;
}

// ---- With lock, socket and doorbell -------------------------------------------------------------

/// A directory, its writer and its reader in one loop; what fails is tried again by the writer, and
/// by itself in the reader.
class Conversation : private Tarn::TableListener {
 public:
  void run() {
    subscribe();
    for (int come = 0; come < 2; ++come) {
      open();
      for (Key key = 0; key < 40; ++key) put(key + static_cast<Key>(come) * 10);
      settle();
      put(3);
      settle();
      table_.reset();
      writer_.reset();
      settle();
    }
  }
  std::uint64_t failures() const { return failures_; }

 private:
  bool isListening() const override { return true; }
  void changed(const std::byte* key) override {
    told_[Tarn::load64(key)] = versionIn(rows_->get()->told(), Tarn::load64(key), kind.fixedSize);
  }
  template <class Act>
  void tryTwice(Act act) {
    try {
      act();
    } catch (const std::system_error&) {
      ++failures_;
      act();
    }
  }
  void open() {
    tryTwice([this] {
      table_.reset();
      writer_.reset();
      writer_ = std::make_unique<Tarn::WriterDirectory>(
          loop_, Tarn::WriterDirectory::Options{folder_ / "rows", "", "", 0755, "faults"},
          [](const std::string&) {});
      table_ = writer_->table(shapeOf(kind), 1);
    });
    EXPECT_EQ(ledger_.settle(*table_->get(), kind.fixedSize), "");
  }
  void put(Key key) {
    const Row row(key, ledger_.begin(key, true), kind.fixedSize);
    tryTwice([&] { table_->get()->put(row.bytes(), row.size()); });
    ledger_.end(key);
  }
  void subscribe() {
    reader_ =
        std::make_unique<Tarn::ReaderDirectory>(loop_, folder_ / "rows", [](const std::string&) {});
    rows_ = reader_->table(shapeOf(kind), this);
  }
  /// Ten seconds are more than any of the checks that make up for what failed.
  void settle() {
    loop_.post([] {});
    loop_.runUntilIdle();
    loop_.advance(clock_, 10);
    EXPECT_EQ(reader_->writer().isThere, writer_ != nullptr);
    for (Key key = 0; key < kind.keys; ++key) {
      const Version found = versionIn(rows_->get()->view(), key, kind.fixedSize);
      EXPECT_EQ(ledger_.check(key, [found] { return found; }), "") << "the reader";
      EXPECT_EQ(told_[key], found) << "key " << key;
    }
    EXPECT_EQ(loop_.handlerExceptions(), 0U);
  }

  const Folder folder_;
  const Ledger ledger_{kind.keys};
  Kiln::TestClock clock_;
  Kiln::EventLoop loop_{clock_};
  std::vector<Version> told_ = std::vector<Version>(kind.keys);
  std::unique_ptr<Tarn::WriterDirectory> writer_;
  std::unique_ptr<Tarn::WriterHandle> table_;
  std::unique_ptr<Tarn::ReaderDirectory> reader_;
  std::unique_ptr<Tarn::ReaderHandle> rows_;
  std::uint64_t failures_ = 0;
};

TEST(TarnCallsTest, EachCallOfADirectoryMayFailOnce) {
  const Sums sums = failEachCall<Conversation>();
  std::cout << "simulated a failure of each of " << sums.calls
            << " calls of a directory, its writer and its reader, " << sums.failures
            << " times the writer raised that" << std::endl;
}

}  // namespace
}  // namespace TarnFaults
