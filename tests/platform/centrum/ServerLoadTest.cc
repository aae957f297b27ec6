/// What readers end with under all that befalls connections, and whom a bad or slow one concerns.
#include <vector>

#include "tests/platform/centrum/ServerClients.h"

namespace Centrum::ServerTesting {
namespace {

/// What the clients of the model run hold, written to "r/0" to "r/2" by one of them each.
class ServerModel : public ServerTest, public testing::WithParamInterface<std::uint32_t> {
 protected:
  struct Writer {
    std::unique_ptr<Client> client;
    std::string path;
    Content truth;
    std::uint64_t newest = 0;
    std::map<std::uint64_t, std::string> unacked;  // batches
  };

  std::uint32_t random(std::uint32_t bound) { return net.random(bound); }

  void write(Writer& writer) {
    std::map<std::string, std::string> changes;
    for (std::uint32_t n = random(random(10) == 0 ? 300 : 4); n-- > 0;) {
      const std::string key = std::to_string(random(400));
      const bool gone = random(3) == 0;
      const std::string value(random(600), 'v');
      if (gone) writer.truth.erase(key);
      else writer.truth[key] = value;
      changes[key] = gone ? erase(key) : put(key, value);
    }
    std::string records;
    for (const auto& [key, record] : changes) records += record;
    writer.unacked[++writer.newest] = records;
    if (writer.client->last().status == mountSuccess_) writer.client->batch(writer.newest, records);
  }
  void comeBack(Writer& writer) {
    writer.client->connect();
    writer.client->mount(writer.path, MountMode::adopt, 5);
    run(1);
    ASSERT_EQ(writer.client->last().status, mountSuccess_) << writer.client->last().text;
    const std::uint64_t kept = writer.client->last().lastBatch;
    writer.client->acked[writer.client->last().path] = kept;
    std::erase_if(writer.unacked, [kept](const auto& one) { return one.first <= kept; });
    for (const auto& [number, records] : writer.unacked) writer.client->batch(number, records);
  }
  void comeBack(Client& reader) {
    if (random(3) == 0) reader.copies.clear();
    reader.connect();
    for (std::uint32_t i = 0; i < 3; ++i) {
      const std::string path = "r/" + std::to_string(i);
      reader.mount(path, MountMode::read, 9, reader.copies[path].since != 0);
    }
  }
  void step(std::vector<Writer>& writers, std::vector<std::unique_ptr<Client>>& readers) {
    Client& reader = *readers[random(4)];
    Writer& writer = writers[random(3)];
    const std::string name = "reader" + std::to_string(random(4));
    switch (random(40)) {
      case 0:
        return net.cut(name);
      case 1:
        return net.rate(name, random(2) == 0 ? 0 : 20'000);
      case 2:
        return net.freeze(name, random(2) == 0);
      case 3:
        return writer.client->closed ? comeBack(writer) : net.cut("writer" + writer.path);
      case 4:
        return random(5) == 0 ? serve() : run(3);
      case 5:
        return reader.closed ? comeBack(reader) : run(1);
      default:
        return random(3) == 0 ? run(0.01) : writer.client->closed ? void() : write(writer);
    }
  }
};

TEST_P(ServerModel, AllReadersEndWithWhatWasWritten) {
  for (std::uint32_t i = GetParam(); i > 0; --i) random(1000);
  options.chunkBytes = GetParam() % 2 == 0 ? 2000 : 40'000;
  options.snapshotsAtOnce = 2;
  serve();
  std::vector<Writer> writers(3);
  for (std::size_t i = 0; i < writers.size(); ++i) {
    writers[i].path = "r/" + std::to_string(i);
    writers[i].client = client("writer" + writers[i].path, 20 + static_cast<int>(i));
    comeBack(writers[i]);
  }
  std::vector<std::unique_ptr<Client>> readers;
  for (int i = 0; i < 4; ++i) {
    readers.push_back(client("reader" + std::to_string(i), 30 + i));
    comeBack(*readers.back());
  }
  for (int i = 0; i < 1500; ++i) step(writers, readers);
  for (std::size_t i = 0; i < readers.size(); ++i) {
    net.freeze("reader" + std::to_string(i), false);
    net.rate("reader" + std::to_string(i), 0);
  }
  run(20);
  for (Writer& writer : writers)
    if (writer.client->closed) comeBack(writer);
  for (const auto& reader : readers)
    if (reader->closed) comeBack(*reader);
  run(20);
  for (const auto& reader : readers) {
    EXPECT_TRUE(reader->complete);
    EXPECT_EQ(reader->marked, server->database().sequence());
    for (const Writer& writer : writers)
      EXPECT_TRUE(reader->copies[writer.path].content == writer.truth) << "seed " << GetParam();
  }
  for (const Writer& writer : writers)
    EXPECT_EQ(writer.client->acked[writer.client->last().path], writer.newest);
}
INSTANTIATE_TEST_SUITE_P(Seeds, ServerModel, testing::Range(1U, 9U));

TEST_F(ServerTest, SlowReadersConcernNobodyElse) {
  options.snapshotsAtOnce = 1;
  options.chunkBytes = 4096;
  net.capacity(16'384);
  net.delay(0, 0.0001);
  serve();
  const auto writer = owner("writer", "r/x");
  const std::string value(1000, 'v');
  for (int i = 0; i < 300; ++i) {
    writer->batch(static_cast<std::uint64_t>(i) + 1, put(std::to_string(i), value));
    run(0.02);
  }
  const auto small = owner("small", "r/y", 20);
  small->batch(1, put("y", "1"));
  net.rate("slow", 2000);
  const auto slow = client("slow", 13);
  slow->mount("r/y", MountMode::read);
  slow->mount("r/x", MountMode::read);
  run();
  std::vector<std::unique_ptr<Client>> quick;
  for (const char* name : {"quick", "fast"}) {  // wait until the slow one gives its place up
    quick.push_back(client(name, 14));
    quick.back()->mount("r/x", MountMode::read);
  }
  run(1.5);
  const auto& fast = quick.back();
  for (const auto& one : quick) {
    EXPECT_EQ(one->copy().content.size(), 300U);
    EXPECT_TRUE(one->complete);
  }
  small->batch(2, put("y", "2"));
  run(60);
  EXPECT_EQ(slow->marks, 2);  // the change does not wait for the snapshot
  EXPECT_EQ(slow->copies["r/y"].content["y"], "2");
  EXPECT_FALSE(slow->complete);
  std::uint64_t number = 300;
  for (int i = 0; i < 2000; ++i) {
    writer->batch(++number, put(std::to_string(i % 10), std::to_string(i) + value));
    run(0.02);
    EXPECT_TRUE(fast->complete);
  }
  EXPECT_EQ(fast->copy().content["9"], "1999" + value);
  EXPECT_GE(fast->marks, 2000);
  std::string come;  // so many that the database forgets that they went
  std::string go;
  for (int i = 0; i < 6000; ++i) {
    come += put("k" + std::to_string(i), "");
    go += erase("k" + std::to_string(i));
  }
  writer->batch(++number, come);
  run();
  writer->batch(++number, go);
  run(600);
  EXPECT_GT(slow->copy().snapshots, 1);
  EXPECT_EQ(slow->copy().content, fast->copy().content);
  EXPECT_TRUE(slow->complete);
  EXPECT_LT(net.bytesTo("slow"), 900'000U);  // of the 2.5 MB that were written
}

/// Every part of a conversation is cut and changed, byte by byte.
TEST_F(ServerTest, NonsenseClosesOnlyTheConnectionThatSentIt) {
  const auto good = owner("good", "r/good");
  good->batch(1, put("a", "1"));
  const auto probe = owner("probe", "r/bad", 40);
  const std::uint32_t path = probe->last().path;
  probe->drop();
  run();
  std::string talk;
  appendFrame(talk, Message::Hello{protocolVersion, "bad"});
  appendFrame(talk, Message::Mount{1, "r/bad", "T", 7, 1, 9, 0, 0});
  appendFrame(talk, Message::Mount{2, "r/good", "T", 7, 0, 9, 77, 1});
  const std::string whole = put("k", "left") + put("l", "right");
  appendFrame(talk, Message::Batch{path, 1, true, true, whole.substr(0, 7)});
  appendFrame(talk, Message::Batch{path, 1, false, true, whole.substr(7)});
  appendFrame(talk, Message::Beat{1});
  appendFrame(talk, Message::Unmount{path});
  int closed = 0;
  for (std::size_t i = 0; i < 2 * talk.size(); ++i) {
    std::string bytes = talk.substr(0, i < talk.size() ? i : talk.size());
    if (i >= talk.size()) bytes[i - talk.size()] = static_cast<char>(bytes[i - talk.size()] + 1);
    const auto bad = client("bad", 41);
    bad->connectSilently();
    bad->sendBytes(bytes);
    run(0.05);
    closed += bad->closed ? 1 : 0;
  }
  run();
  EXPECT_GT(closed, 100);
  EXPECT_EQ(server->connections(), 1U);
  const std::size_t cells = server->database().find("r/bad")->liveCells();
  EXPECT_TRUE(cells == 0 || cells == 2) << cells;
  good->batch(2, put("b", "2"));
  run();
  EXPECT_EQ(server->database().find("r/good")->liveCells(), 2U);

  const auto reason = [&](const std::vector<Message::Any>& messages, bool hello = true) {
    const auto bad = client("bad", 41);
    if (!hello) bad->connect(2);
    for (const Message::Any& one : messages) bad->send(one);
    run();
    EXPECT_TRUE(bad->closed);
    const std::string begin = "connection of bad (pid 41, uid 1000): ";
    EXPECT_EQ(reported.substr(0, begin.size()), begin);
    return reported.substr(begin.size());
  };
  const std::uint32_t theirs = good->last().path;
  EXPECT_EQ(reason({}, false), "the server speaks version 1 of the protocol, the client version 2");
  EXPECT_EQ(reason({Message::Hello{}}), "a second Hello");
  EXPECT_EQ(reason({Message::Welcome{}}), "a message that only servers send");
  EXPECT_EQ(reason({Message::Unmount{99}}), "Unmount of path 99, which is not mounted");
  EXPECT_EQ(reason({Message::Remove{theirs}}),
            "Remove for path " + std::to_string(theirs) + ", which the client does not own");
  const Message::Mount own{1, "r/bad", "T", 7, 1, 9, 0, 0};
  EXPECT_EQ(reason({own, Message::Batch{path, 5, false, false, ""},
                    Message::Batch{path, 4, false, false, ""}}),
            "batch 4 comes after batch 5");
  EXPECT_EQ(reason({own, Message::Batch{path, 7, true, false, ""},
                    Message::Batch{path, 8, false, false, ""}}),
            "batch 8 begins before batch 7 has ended");
}

}  // namespace
}  // namespace Centrum::ServerTesting
