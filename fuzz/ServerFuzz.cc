/// Two clients send any bytes to a server, which must survive, and serve a third one as ever.
///
/// The input is a list of steps: a byte that says who sends how much, and the bytes. A first byte
/// of 0 or 1 makes a client begin well, so that what follows gets further.
#include <array>
#include <string>
#include <utility>

#include "fuzz/Check.h"
#include "platform/centrum/Server.h"
#include "platform/forma/AttributeLog.h"

namespace {

using namespace Centrum;

/// What lies between a client, which is this program, and the server.
struct Wire {
  std::string toServer;
  std::string toClient;
  Stream::Handler onReadable;
  bool clientGone = false;
};

class WireStream final : public Stream {
 public:
  WireStream(std::shared_ptr<Wire> wire, pid_t pid)
      : wire_(std::move(wire)), peer_{pid, 0, 0, {}} {}
  ~WireStream() override { wire_->onReadable = {}; }

  Received read(char* to, std::size_t size) override {
    const std::size_t count = wire_->toServer.copy(to, size);
    wire_->toServer.erase(0, count);
    return {count, count == 0 && wire_->clientGone};
  }
  std::size_t write(std::string_view bytes) override {
    wire_->toClient += bytes;
    return bytes.size();
  }
  void onReadableIs(Handler handler) override { wire_->onReadable = std::move(handler); }
  void onWritableIs(Handler /*handler*/) override {}  // it always is
  bool peerGone() const override { return wire_->clientGone; }
  const Peer& peer() const override { return peer_; }

 private:
  const std::shared_ptr<Wire> wire_;
  const Peer peer_;
};

class WireListener final : public Listener {
 public:
  explicit WireListener(Accept& accept) : accept_(accept) {}
  void onAcceptIs(Accept accept) override { accept_ = std::move(accept); }
  bool mayWrite(const Peer& peer) const override { return peer.pid != 2; }
  std::string neededRight() const override { return "another number"; }

 private:
  Accept& accept_;
};

class World {
 public:
  World() : server_(loop_, std::make_unique<WireListener>(accept_), nullptr, options()) {}

  std::shared_ptr<Wire> connect(pid_t pid) {
    auto wire = std::make_shared<Wire>();
    loop_.post([this, wire, pid] { accept_(std::make_unique<WireStream>(wire, pid)); });
    loop_.runUntilIdle();
    return wire;
  }
  /// Returns when the server has read all, or has closed the connection.
  void send(Wire& wire, std::string_view bytes) {
    wire.toServer += bytes;
    while (wire.onReadable && (!wire.toServer.empty() || wire.clientGone)) {
      loop_.post(wire.onReadable);
      loop_.runUntilIdle();
    }
  }
  /// Lets time pass.
  void wait(double seconds) { loop_.advance(clock_, seconds); }

 private:
  static ServerOptions options() {
    ServerOptions some;
    some.freshEpoch = 1;
    return some;
  }

  Kiln::TestClock clock_;
  Kiln::EventLoop loop_{clock_};
  Listener::Accept accept_;
  Server server_;
};

std::string frame(const Message::Any& message) {
  std::string bytes;
  appendFrame(bytes, message);
  return bytes;
}

std::string goodBegin(std::string_view path) {
  return frame(Message::Hello{}) +
         frame(Message::Mount{1, Forma::String8(path), "T", 7, 1, 5, 0, 0});
}

/// What a well-behaved client is told: the number of its path, and the newest value.
struct Told {
  std::uint32_t path = 0;
  std::string value;
};

Told readAll(const Wire& wire) {
  Told told;
  FrameReader reader;
  wire.toClient.copy(reader.room(wire.toClient.size()), wire.toClient.size());
  reader.added(wire.toClient.size());
  for (Message::Any message; reader.next(message);) {
    require(!std::holds_alternative<Message::Bye>(message));
    if (const auto* mounted = std::get_if<Message::Mounted>(&message)) {
      require(mounted->status == mountSuccess_);
      told.path = mounted->path;
    } else if (const auto* delta = std::get_if<Message::Delta>(&message)) {
      for (Forma::BytesIn in(delta->records); !in.atEnd();)
        told.value = Forma::takeRecord(in).value;
    }
  }
  return told;
}

/// One writes to `path`, which nobody else knows, another one reads.
void expectService(World& world, const std::string& path) {
  const auto writer = world.connect(3);
  const auto reader = world.connect(4);
  world.send(*writer, goodBegin(path));
  std::string records;
  Forma::appendRecord(records, {Forma::LogOp::put, 0, "key", "value"});
  world.send(*writer, frame(Message::Batch{readAll(*writer).path, 1, false, true, records}));
  world.send(*reader, frame(Message::Hello{}) +
                          frame(Message::Mount{1, Forma::String8(path), "T", 7, 0, 6, 0, 0}));
  require(readAll(*reader).value == "value");
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  World world;
  const std::array wires{world.connect(1), world.connect(2)};
  std::string_view input = textOf(data, size);
  while (!input.empty()) {
    const auto step = static_cast<unsigned char>(input.front());
    Wire& wire = *wires[step & 1U];
    const std::size_t count = std::min<std::size_t>(step >> 1U, input.size() - 1);
    wire.clientGone = wire.clientGone || count == 127;
    world.send(wire, count == 0 ? goodBegin("bad/path") : input.substr(1, count));
    input.remove_prefix(1 + count);
  }
  world.wait(10);
  expectService(world, "p" + std::to_string(Forma::hashBytes(data, size)));
  return 0;
}
