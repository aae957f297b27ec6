#include "platform/tarn/Storage.h"

#include <gmock/gmock.h>
#include <signal.h>
#include <sys/mman.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <map>
#include <new>
#include <random>
#include <system_error>
#include <utility>

#include "platform/tarn/DirectoryStorage.h"
#include "tests/platform/tarn/Folder.h"
#include "tests/platform/tarn/OneFails.h"
#include "tests/support/Checks.h"

namespace Tarn {
namespace {

using testing::AllOf;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::UnorderedElementsAreArray;

/// Storages of both kinds, in the same random steps as a model: a map of what each file holds.
void checkAgainstModel(Storage& storage, unsigned seed) {
  SCOPED_TRACE("seed " + std::to_string(seed));
  std::mt19937 random(seed);
  std::map<std::string, std::string> model;
  struct Old {
    std::string name, content;
    Mapping mapping;
  };
  std::vector<Old> olds;  // every mapping there was; the newest of a name is that of its file
  std::string aside;
  for (int step = 0; step < 300; ++step) {
    const std::string name{static_cast<char>('a' + random() % 4)};
    const std::size_t size = 1 + random() % 20000;
    const std::string content = std::to_string(step).substr(0, size - 1);
    switch (random() % 8) {
      default:
        olds.push_back({name, content, storage.create(name, size, filledWith(content))});
        ASSERT_EQ(olds.back().mapping.size, size);
        model[name] = content;
        break;
      case 0:
        storage.remove(name);
        model.erase(name);
        break;
      case 1:
        olds.erase(olds.begin(), olds.begin() + static_cast<long>(olds.size() / 2));
        break;
      case 3:
        EXPECT_THROW(storage.create(name, size, [](auto*) { throw std::bad_alloc(); }),
                     std::bad_alloc);
        EXPECT_THROW(storage.create(name, 0, nullptr), std::system_error);
        break;
      case 2:
        ASSERT_NE(std::exchange(aside, storage.moveAside({"b", "none", "c"})), aside);
        ASSERT_TRUE(aside.starts_with(storage.name() + "/aside.")) << aside;
        model.erase("b");
        model.erase("c");
    }
    std::vector<std::string> names;
    for (const auto& [key, value] : model) names.push_back(key);
    ASSERT_THAT(storage.files(), UnorderedElementsAreArray(names));
    const Opened opened = storage.open(name, step % 2 == 0 ? Access::read : Access::write);
    ASSERT_EQ(opened.error, model.contains(name) ? 0 : ENOENT) << opened.text;
    if (opened.mapping) {
      ASSERT_EQ(textIn(opened.mapping), model[name]);
      const auto* bytes = opened.mapping.data();
      ASSERT_TRUE(std::all_of(bytes + model[name].size(), bytes + opened.mapping.size,
                              [](std::byte b) { return b == std::byte{0}; }));
    }
    std::map<std::string, bool> newerSeen;
    std::for_each(olds.rbegin(), olds.rend(), [&](const Old& old) {
      EXPECT_EQ(textIn(old.mapping), old.content);
      const bool newest = !std::exchange(newerSeen[old.name], true);
      EXPECT_EQ(storage.isThere(old.name, old.mapping), newest && model.contains(old.name));
      EXPECT_FALSE(storage.isDamaged(old.mapping));
    });
  }
}

TEST(StorageTest, BothKindsDoAsAMapOfContentsDoes) {
  for (const unsigned seed : {1U, 2U, 3U}) {
    checkAgainstModel(*memoryStorageFactory("memory"), seed);
    const Folder folder;
    checkAgainstModel(*directoryStorageFactory(folder.path, {}), seed);
    EXPECT_THAT(folder.mapped(), IsEmpty());
  }
}

class DirectoryStorageTest : public testing::Test {
 protected:
  Mapping create(const std::string& file, std::size_t size = 8192) {
    return storage->create(file, size, filledWith(file));
  }
  const Folder folder;
  const DirectoryRights rights{::getuid(), ::getgid(), 0640};
  std::unique_ptr<Storage> storage = directoryStorageFactory(folder.path, rights);
};

TEST_F(DirectoryStorageTest, ACallThatFailsChangesNothingAndLeaksNothing) {
  create("f");
  const std::size_t before = descriptors();
  unsigned failures = 0;
  for (bool done = false; !done; ++failures) {
    // A temporary file that is there already is replaced, which takes more calls.
    std::ofstream(folder / ".f.tmp") << "stale";
    OneFails calls(failures, OneFails::Always{ENOSPC});
    const auto work = [&] { storage->create("f", 9000, filledWith("new")); };
    const std::string text = Checks::raised<std::system_error>(work);
    done = !calls.hasFailed();
    const auto named = AllOf(HasSubstr(folder / "f"), HasSubstr("no space left"));
    EXPECT_THAT(text, testing::Conditional(done, testing::Eq("nothing"), named)) << failures;
    EXPECT_EQ(fs::file_size(folder / "f"), done ? 9000U : 8192U);
    EXPECT_EQ(descriptors(), before);
    EXPECT_THAT(folder.mapped(), IsEmpty());
    // The first two failures are met before the stale one is gone.
    EXPECT_EQ(folder.content().size(), failures < 2 ? 2U : 1U) << failures;
  }
  EXPECT_EQ(failures, 11U)
      << "open, unlink, open, reserve, look, map, advise, chown, chmod, rename";
}

TEST_F(DirectoryStorageTest, OpeningSaysWhatFailedAndIsNotInterrupted) {
  create("f");
  const std::size_t before = descriptors();
  for (const Access access : {Access::read, Access::write})
    for (const int error : {EINTR, EMFILE, ENFILE, ENOMEM}) {
      bool done = false;
      for (unsigned n = 0; !done; ++n) {
        OneFails calls(n, OneFails::Always{error});
        const Opened opened = storage->open("f", access);
        done = !calls.hasFailed();
        EXPECT_EQ(opened.error, done || error == EINTR ? 0 : error) << n;
        if (opened.error == 0) EXPECT_EQ(textIn(opened.mapping) + opened.text, "f");
        else
          EXPECT_THAT(opened.text, AllOf(HasSubstr("open " + (folder / "f")), HasSubstr("left")));
      }
    }
  EXPECT_EQ(descriptors(), before);
  EXPECT_THAT(folder.mapped(), IsEmpty());
  for (unsigned n = 0; n < 12; ++n) {
    const OneFails calls(n, OneFails::Always{EINTR});
    EXPECT_NO_THROW(create("g"));
    EXPECT_TRUE(storage->isThere("g", storage->open("g", Access::read).mapping));
    EXPECT_NO_THROW(storage->remove("f"));
    EXPECT_NO_THROW(storage->moveAside({"g"}));
    EXPECT_THAT(storage->files(), IsEmpty());
  }
}

TEST_F(DirectoryStorageTest, SpaceThatTheKernelRefusesIsAnErrorAndNoBusError) {
  create("f");
  inChild([&] {
    constexpr rlimit little{1U << 20, 1U << 20};
    ::setrlimit(RLIMIT_FSIZE, &little);
    ::signal(SIGXFSZ, SIG_IGN);
    const auto grow = [&] { create("f", 2U << 20); };
    EXPECT_THAT(Checks::raised<std::system_error>(grow),
                HasSubstr("reserve 2097152 bytes for " + (folder / "f") + ": File too"));
  });
  EXPECT_THAT(folder.content(), ElementsAre("f"));
  EXPECT_EQ(textIn(storage->open("f", Access::read).mapping), "f");
}

TEST_F(DirectoryStorageTest, FilesHaveTheRightsThatWereAskedForAndAllTheirSpace) {
  const bool isRoot = ::geteuid() == 0;
  const DirectoryRights asked{isRoot ? 1U : ::getuid(), isRoot ? 2U : ::getgid(), 0664};
  const mode_t former = ::umask(077);
  const auto mapping = directoryStorageFactory(folder.path, asked)->create("f", 10000, nullptr);
  ::umask(former);
  struct stat file {};
  ASSERT_EQ(::stat((folder / "f").c_str(), &file), 0);
  EXPECT_EQ(file.st_mode, S_IFREG | 0664U);
  EXPECT_EQ(file.st_uid, asked.owner);
  EXPECT_EQ(file.st_gid, asked.group);
  EXPECT_GE(file.st_blocks * 512, 10000) << "not sparse";
  EXPECT_THAT(folder.mapped(), ElementsAre("rw-s"));
}

TEST_F(DirectoryStorageTest, OnlyWholeRegularFilesAreOpened) {
  create("f");
  fs::create_symlink("f", folder / "link");
  fs::create_directory(folder / "folder");
  ASSERT_EQ(::mkfifo((folder / "pipe").c_str(), 0600), 0);
  std::ofstream(folder / "empty").flush();
  std::ofstream(folder / "large").flush();
  fs::resize_file(folder / "large", 2ULL << 40);
  const auto refusal = [&](const char* file, int error) {
    const Opened opened = storage->open(file, Access::read);
    EXPECT_EQ(opened.error, error) << opened.text;
    EXPECT_THAT(opened.text, HasSubstr(folder / file));
    return opened.text;
  };
  EXPECT_THAT(refusal("none", ENOENT), HasSubstr("No such file"));
  EXPECT_THAT(refusal("link", ELOOP), HasSubstr("is a symbolic link"));
  EXPECT_THAT(refusal("folder", EBADMSG), HasSubstr("is not a regular file"));
  EXPECT_THAT(refusal("pipe", EBADMSG), HasSubstr("is not a regular file"));
  EXPECT_THAT(refusal("empty", EBADMSG), HasSubstr("is empty"));
  EXPECT_THAT(refusal("large", EFBIG), HasSubstr("is too large"));
  EXPECT_THAT(storage->files(), testing::UnorderedElementsAre("f", "empty", "large"));
  EXPECT_THAT(Checks::raised<std::system_error>([&] { directoryStorageFactory(folder / "none"); }),
              HasSubstr("open directory " + (folder / "none") + ": No such file"));
}

/// What is wrong with the rights, for a process that has none: root becomes somebody else.
TEST_F(DirectoryStorageTest, AMissingRightIsNamedWithWhatWasFound) {
  create("f");
  const bool isRoot = ::geteuid() == 0;
  const std::string self = std::to_string(isRoot ? 65534 : ::geteuid());
  const auto checkText = [&](auto call, const char* right, const std::string& where) {
    struct stat found {};
    ASSERT_EQ(::stat(where.c_str(), &found), 0);
    char mode[8];
    std::snprintf(mode, sizeof mode, "%04o", found.st_mode & 07777U);
    inChild([&] {
      ASSERT_TRUE(!isRoot || (::setgid(65534) == 0 && ::setuid(65534) == 0));
      EXPECT_THAT(call(),
                  AllOf(HasSubstr(right + (" " + where) + "; found mode " + mode + ", uid " +
                                  std::to_string(found.st_uid)),
                        HasSubstr("this process has uid " + self), HasSubstr("Permission denied")));
    });
  };
  const auto read = [&] { return storage->open("f", Access::read).text; };
  const auto write = [&] { return storage->open("f", Access::write).text; };
  const auto make = [&] { return Checks::raised<std::system_error>([&] { create("g"); }); };
  fs::permissions(folder / "f", isRoot ? fs::perms::owner_all : fs::perms::none);
  fs::permissions(folder.path, fs::perms::owner_all | fs::perms::others_exec);
  checkText(read, "needs the right to read", folder / "f");
  checkText(write, "needs the right to read and write", folder / "f");
  fs::permissions(folder.path, isRoot ? fs::perms::owner_all : fs::perms::none);
  checkText(read, "needs the right to search", folder.path);
  checkText(make, "needs the right to write and search", folder.path);
  fs::permissions(folder.path, fs::perms::owner_all);
}

TEST_F(DirectoryStorageTest, ReadersCannotWriteAndForkedChildrenHaveNoWriterMappings) {
  Mapping written = create("f");
  Mapping read = directoryStorageFactory(folder.path)->open("f", Access::read).mapping;
  EXPECT_THAT(folder.mapped(), testing::UnorderedElementsAre("rw-s", "r--s"));
  storage.reset();
  storage = directoryStorageFactory(folder.path, rights);
  filledWith("by the next writer")(storage->open("f", Access::write).mapping.data());
  EXPECT_EQ(textIn(read) + textIn(written), "by the next writerby the next writer");
  inChild([&] {
    EXPECT_THAT(folder.mapped(), ElementsAre("r--s"));
    EXPECT_EQ(textIn(read), "by the next writer");
    // What stands in its place in the child survives it.
    void* at = ::mmap(written.data(), written.size, PROT_READ | PROT_WRITE,
                      MAP_PRIVATE | MAP_ANONYMOUS | MAP_FIXED_NOREPLACE, -1, 0);
    EXPECT_EQ(at, written.data());
    written = {};
    read = {};
    std::memset(at, 1, 8192);
    EXPECT_THAT(folder.mapped(), IsEmpty());
  });
}

TEST_F(DirectoryStorageTest, AWriterThatComesRemovesWhatAKilledOneLeft) {
  for (const char* name : {".f.tmp", ".other", "g.tmp"}) std::ofstream(folder / name) << "x";
  directoryStorageFactory(folder.path);
  EXPECT_EQ(folder.content().size(), 3U);
  directoryStorageFactory(folder.path, rights);
  EXPECT_THAT(folder.content(), testing::UnorderedElementsAre(".other", "g.tmp"));
}

}  // namespace
}  // namespace Tarn
