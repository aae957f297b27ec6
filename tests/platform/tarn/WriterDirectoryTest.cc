#include "platform/tarn/WriterDirectory.h"

#include "platform/kiln/UnixSocket.h"
#include "tests/platform/tarn/DirectoryFixture.h"

namespace Tarn {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Pair;

class WriterDirectoryTest : public DirectoryFixture {};

TEST_F(WriterDirectoryTest, OneProcessWritesAndItsChildrenHaveNoPartInIt) {
  auto first = write(loop);
  auto table = first->table(shape(), 10);
  const auto reader = read(loop);
  loop.runUntilIdle();
  const std::string pid = std::to_string(::getpid());
  EXPECT_THAT(refusal(), HasSubstr(path + " is written by this process, PID " + pid +
                                   " (lfib writer, started 0 s ago): Address already in use"));
  const auto refusedElsewhere = [&] {
    inChild([&] {
      EXPECT_THAT(refusal(),
                  HasSubstr(path + " is written by PID " + pid + " (lfib writer, start"));
      EXPECT_EQ(Checks::raised<std::system_error>([&] { first->table(shape("more"), 10); }),
                path + " belongs to the process that forked this one: Operation not permitted");
      first->ring();
      first.reset();
      table.reset();
    });
  };
  refusedElsewhere();
  refusedElsewhere();
  EXPECT_EQ(modeOf(""), 0755U) << "changed by one who was refused";
  EXPECT_EQ(Checks::raised<std::system_error>([&] { first->table(shape(), 10); }),
            path + ": table rows is open here already: File exists");

  loop.runUntilIdle();
  EXPECT_EQ(first->readers(), 1U);
  EXPECT_EQ(reader->writer().pid, ::getpid());
  EXPECT_EQ(reader->writer().agent, "lfib writer");
  EXPECT_EQ(modeOf("/writer.sock"), 0666U);
  EXPECT_EQ(modeOf("/writer.lock"), 0600U);
  first.reset();
  EXPECT_EQ(table->get(), nullptr);
  EXPECT_FALSE(fs::exists(path + "/writer.sock"));
  inChild([&] { write(loop, 0750); });
  EXPECT_EQ(modeOf(""), 0750U);
  EXPECT_EQ(modeOf("/writer.info"), 0640U);
  EXPECT_THAT(reports, IsEmpty());
}

TEST_F(WriterDirectoryTest, AThousandReadersThatDieLeaveNothingBehind) {
  const auto writer = write(loop);
  const auto written = writer->table(shape(), 10);
  const auto files = [&] { return std::distance(fs::directory_iterator(path), {}); };
  loop.runUntilIdle();
  put(*written, 1, 1);
  const auto before = std::pair(files(), descriptors());
  for (int round = 0; round < 5; ++round) {
    std::vector<std::unique_ptr<Other>> readers;
    for (int process = 0; process < 2; ++process)
      readers.push_back(std::make_unique<Other>([&](const auto& pause) {
        Kiln::EventLoop own;
        const auto reader = read(own);
        reader->look();
        std::vector<Kiln::Fd> more(99);
        for (Kiln::Fd& one : more) {
          one = Kiln::unixSocket();
          EXPECT_EQ(Kiln::connectUnix(one, Kiln::unixAddress(path + "/writer.sock")), 0);
        }
        pause();
      }));
    for (const auto& one : readers) one->awaitPause();
    EXPECT_TRUE(loop.runUntil([&] { return writer->readers() == 200; }, patience));
    put(*written, 1, 1);
    writer->ring();
    readers.clear();
    put(*written, 1, 2);
    writer->ring();
    EXPECT_TRUE(loop.runUntil([&] { return writer->readers() == 0; }, patience));
  }
  EXPECT_EQ(std::pair(files(), descriptors()), before);
  EXPECT_EQ(loop.handlerExceptions(), 0U);
}

TEST_F(WriterDirectoryTest, WhatOthersRemoveIsMadeAgainUnlessTheyWriteThere) {
  Kiln::EventLoop real;  // the writer looks after its files by a clock of its own
  const auto writer = write(real);
  const auto written = writer->table(shape(), 10);
  const auto reader = read(real);
  const auto rows = reader->table(shape(), &told);
  put(*written, 1, 1);
  EXPECT_TRUE(real.runUntil([&] { return reader->writer().isThere; }, patience));
  EXPECT_EQ(told.take().size(), 1U);
  fs::remove_all(path);
  for (std::uint64_t key = 2; key <= 1000; ++key) put(*written, key, key);  // takes new segments
  EXPECT_TRUE(real.runUntil(
      [&] { return reader->writer().comes == 2 && valueOf(*rows, 1000) == 1000; }, patience));
  EXPECT_EQ(told.keys.size(), 999U);
  EXPECT_FALSE(told.take().contains(1)) << "it is the same in the new files";
  EXPECT_THAT(reports, testing::Contains(path + " had been removed: made again"));
  inChild([&] {
    Kiln::EventLoop own;
    EXPECT_THAT(refusal(), HasSubstr("is written by PID"));
    const auto directory = read(own);
    EXPECT_EQ(valueOf(*directory->table(shape(), nullptr), 1000), 1000U);
  });

  fs::remove(path + "/writer.sock");
  fs::remove(path + "/writer.lock");
  EXPECT_TRUE(real.runUntil([&] { return fs::exists(path + "/writer.sock"); }, patience));
  inChild([&] { EXPECT_THAT(refusal(), HasSubstr("is written by PID")); });
  EXPECT_EQ(reader->writer().comes, 2U) << "its connection stays";

  fs::remove_all(path);
  Other usurper([&](const auto& pause) {
    Kiln::EventLoop own;
    const auto directory = write(own);
    const auto table = directory->table(shape(), 10);
    put(*table, 1, 77);
    pause();
  });
  usurper.awaitPause();
  EXPECT_TRUE(real.runUntil([&] { return written->get() == nullptr; }, patience));
  const std::string by = path + " is written by PID " + std::to_string(usurper.pid());
  EXPECT_THAT(reports.back(), HasSubstr("lost: " + by));
  EXPECT_THAT(Checks::raised<std::system_error>([&] { writer->table(shape(), 1); }), HasSubstr(by));
  EXPECT_TRUE(real.runUntil([&] { return valueOf(*rows, 1) == 77; }, patience));
  EXPECT_EQ(reader->writer().pid, usurper.pid());
  EXPECT_EQ(valueOf(*rows, 2), 0U);
  EXPECT_EQ(told.take().size(), 1000U);
}

TEST_F(WriterDirectoryTest, WhoHasNoRightIsToldWhichAndServedOnceItHasIt) {
  fs::permissions(folder.path, fs::perms(0755));
  const auto writer = write(loop);
  const auto written = writer->table(shape(), 10);
  put(*written, 1, 11);
  ::chmod(path.c_str(), 0);
  Other other([&](const auto& pause) {
    EXPECT_TRUE(::geteuid() != 0 || (::setgid(65534) == 0 && ::setuid(65534) == 0));
    const std::string who = "uid " + std::to_string(::geteuid()) + ", gid ";
    Kiln::EventLoop own;
    const auto reader = read(own);
    const auto rows = reader->table(shape(), &told);
    reader->look();
    reader->look();
    EXPECT_THAT(reports, ElementsAre(testing::AllOf(HasSubstr("needs the right to read " + path +
                                                              "; found mode 0000, uid "),
                                                    HasSubstr("this process has " + who))));
    EXPECT_EQ(refusal().substr(0, reports[0].size()), reports[0]);
    path += "/deeper";
    EXPECT_THAT(refusal(),
                HasSubstr("needs the right to search " + path.substr(0, path.rfind('/'))));
    pause();
    EXPECT_TRUE(own.runUntil([&] { return reader->writer().isThere; }, patience));
    EXPECT_THAT(told.take(), ElementsAre(Pair(1, 1)));
    EXPECT_EQ(reports.size(), 1U);
  });
  other.awaitPause();
  ::chmod(path.c_str(), 0755);
  other.goOn();
  EXPECT_EQ(other.end(), 0);
  EXPECT_THAT(Checks::raised<std::system_error>([&] {
                WriterDirectory(loop, {folder / "new", "nobody-of-that-name", "", 0755, ""}, {});
              }),
              HasSubstr("there is no user nobody-of-that-name"));
  EXPECT_FALSE(fs::exists(folder / "new"));
}

}  // namespace
}  // namespace Tarn
