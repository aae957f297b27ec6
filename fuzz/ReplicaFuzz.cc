// A client whose server sends any bytes: it must survive, tell each mount group once, and follow
// the good server that it finds after that one.
//
// The first byte says how the bad server begins: 1: with Welcome, 2: it then grants the mounts. The
// next one says into which pieces the rest is cut; after every eighth piece the connection ends,
// and the next bytes come over a new one.

#include <memory>
#include <string>
#include <utility>

#include "fuzz/Check.h"
#include "mpls/entities/Registration.h"
#include "mpls/entities/RouteConfig.h"
#include "platform/centrum/ConnectedEntityManager.h"
#include "platform/centrum/Protocol.h"
#include "platform/forma/Content.h"
#include "tests/support/ContentText.h"

namespace {

using namespace Centrum;
using Forma::Entity;
using Forma::Ptr;
using Mpls::RouteConfigInput;

struct Path {
  const char* name;
  const char* type;
  const char* mode;
};
constexpr Path paths[] = {{"in/read", "Mpls::RouteConfigInput", "r"},
                          {"in/adopt", "Mpls::RouteConfigInput", "w"},
                          {"in/replace", "Mpls::RouteConfig", "x"},
                          {"in", "Forma::Dir", "r"},
                          {"config", "Mpls::Config", "r"}};

const Forma::TypeRegistry& registry() {
  static const Forma::TypeRegistry all = [] {
    Forma::TypeRegistry types;
    Mpls::registerEntityTypes(types);
    return types;
  }();
  return all;
}

/// What lies between the client and this program, which is the server.
struct Wire {
  std::string toClient;
  std::string toServer;
  Stream::Handler onReadable;
  bool ended = false;  // by the server
  bool gone = false;   // the client is
};

class WireStream final : public Stream {
 public:
  explicit WireStream(std::shared_ptr<Wire> wire) : wire_(std::move(wire)) {}
  ~WireStream() override {
    wire_->onReadable = {};
    wire_->gone = true;
  }
  Received read(char* to, std::size_t size) override {
    const std::size_t count = wire_->toClient.copy(to, size);
    wire_->toClient.erase(0, count);
    return {count, count == 0 && wire_->ended};
  }
  std::size_t write(std::string_view bytes) override {
    wire_->toServer += bytes;
    return bytes.size();
  }
  void onReadableIs(Handler handler) override { wire_->onReadable = std::move(handler); }
  void onWritableIs(Handler /*handler*/) override {}  // it always is
  bool peerGone() const override { return wire_->ended; }
  const Peer& peer() const override { return peer_; }

 private:
  const std::shared_ptr<Wire> wire_;
  const Peer peer_;
};

class WireConnector final : public Connector {
 public:
  explicit WireConnector(std::shared_ptr<Wire>& last) : last_(last) {}
  std::unique_ptr<Stream> connect() override {
    last_ = std::make_shared<Wire>();
    return std::make_unique<WireStream>(last_);
  }
  const std::string& problem() const override { return problem_; }
  std::string address() const override { return "here"; }

 private:
  std::shared_ptr<Wire>& last_;
  const std::string problem_;
};

struct Completion final : MountCallback {
  void doMountsComplete(MountStatus status, Ptr<EntityManager> /*em*/) override {
    require(++calls == 1 && status != mountPending());
    mounted = status == mountSuccess();
  }
  int calls = 0;
  bool mounted = false;
};

class World {
 public:
  World() {
    loop_.exceptionHandlerIs([](const std::exception_ptr&) { require(false); });
    client_ = connectedEntityManagerFactory(loop_, registry(),
                                            std::make_unique<WireConnector>(wire_), {"client"});
    for (std::size_t i = 0; i < std::size(paths); ++i) {
      const auto group = client_->getMountGroup();
      group->doMount(Forma::String8(paths[i].name), Forma::String8(paths[i].type),
                     Forma::String8(paths[i].mode));
      group->doClose(done_[i] = new Completion);
    }
    loop_.advance(clock_, 0);
  }
  ~World() { client_->close(); }

  /// Bytes come; whether the client kept the connection. It makes a new one in time.
  void send(std::string_view bytes) {
    if (wire_->gone) return;
    wire_->toClient += bytes;
    while (wire_->onReadable && (!wire_->toClient.empty() || wire_->ended)) {
      loop_.post(wire_->onReadable);
      loop_.runUntilIdle();
    }
  }
  template <class... Messages>
  void sendMessages(const Messages&... messages) {
    std::string bytes;
    (appendFrame(bytes, messages), ...);
    send(bytes);
  }
  void reconnect() {
    wire_->ended = true;
    send("");
    while (wire_->gone) loop_.advance(clock_, 1);
  }
  /// The client changes what it owns.
  void change() {
    loop_.post([this] {
      for (const int i : {1, 2}) {
        if (!done_[i]->mounted) continue;
        const auto entity = client_->getEntity(Forma::String8(paths[i].name));
        if (const auto in = Forma::ptrCast<RouteConfigInput>(entity)) in->routeIs({++label_, 0});
        client_->commit(Forma::String8(paths[i].name));
      }
    });
    loop_.runUntilIdle();
  }
  void begin(unsigned how, Epoch epoch) {
    if (how & 1U) sendMessages(Message::Welcome{protocolVersion, epoch, 5});
    for (std::uint32_t i = 1; (how & 2U) && i <= std::size(paths); ++i)
      sendMessages(Message::Mounted{i, mountSuccess(), i, 0, i == 2, {}});
  }
  /// A server that does everything right states the content of the first path.
  void checkRecovery() {
    reconnect();
    const Ptr<RouteConfigInput> due = Mpls::routeConfigInputFactory("read");
    due->routeIs({100, 1})->viaIs(Mpls::Via(), true);
    std::string records;
    Forma::encodeContent(records, *due);
    begin(1, 77);
    sendMessages(Message::Mounted{1, mountSuccess(), 1, 0, false, {}},
                 Message::Delta{1, true, true, records, false}, Message::Mark{6, true});
    require(done_[0]->calls == 1);  // with success, or it was refused before
    if (!done_[0]->mounted) return;
    if (client_->mountInfo(paths[0].name).state == MountState::refused) return;
    require(difference(*client_->getEntity(Forma::String8(paths[0].name)), *due).empty());
  }

 private:
  Kiln::TestClock clock_;
  Kiln::EventLoop loop_{clock_};
  std::shared_ptr<Wire> wire_;  // the newest
  Ptr<ConnectedEntityManager> client_;
  Ptr<Completion> done_[std::size(paths)];
  std::uint32_t label_ = 16;
};

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  if (size < 2) return 0;
  World world;
  world.begin(data[0], 3);
  const std::string_view input = textOf(data + 2, size - 2);
  int pieces = 0;
  for (std::size_t at = 0; at < input.size(); at += 1 + data[1]) {
    world.send(input.substr(at, 1 + data[1]));
    world.change();
    if (++pieces % 8 != 0) continue;
    world.reconnect();
    world.begin(data[0], 3 + at % 2);
  }
  world.checkRecovery();
  return 0;
}
