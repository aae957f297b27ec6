#include "bench/RouteMounts.h"

#include <unistd.h>

#include <array>
#include <cstring>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "bench/Agent.h"
#include "bench/CentrumChain.h"
#include "bench/GatedConnector.h"
#include "bench/Sockets.h"
#include "mpls/entities/RouteConfig.h"
#include "platform/centrum/UnixStream.h"

namespace Bench {
namespace {

using Mpls::RouteConfigInput;

constexpr std::string_view routesPath = "routing/mpls/route/input/static";

Mpls::RouteKey keyOf(std::uint32_t i) { return {16 + i, std::uint8_t{0}}; }
void addRoute(RouteConfigInput& input, std::uint32_t i) {
  const Mpls::Via via(Netbase::IpGenAddr("10.0.0.1"), Netbase::swap_, 16 + i % 1000, false);
  input.newRoute(keyOf(i))->newVia(via, true);
}

/// Owns the routes: makes those that are missing, or changes some of them.
class Writer {
 public:
  enum Task : std::uint32_t { build, change };

  explicit Writer(const std::string& socket)
      : agent_(socket, "writer"), input_(agent_.mount<RouteConfigInput>(routesPath, "w")) {}

  Answer handle(const Command& task) {
    const auto keys = shuffledKeys(task.count, task.generation);
    agent_.loop.post([&] {
      for (const std::uint32_t i : keys) {
        if (task.what == build) {
          addRoute(*input_, i);
        } else {
          Mpls::Route& route = *input_->routeFind(keyOf(i));
          route.dynamicIs(!route.dynamic());
        }
      }
      posted_ = true;
    });
    agent_.runUntil([this] { return std::exchange(posted_, false); }, "changed");
    agent_.send();
    return {};
  }

 private:
  Agent agent_;
  Forma::Ptr<RouteConfigInput> input_;
  bool posted_ = false;
};

class Reader : RouteConfigInput::NotifieeConst {
 public:
  enum Task : std::uint32_t { mount, cut, resume };

  explicit Reader(const std::string& socket)
      : agent_(
            [&](Kiln::EventLoop& loop) {
              gate_ = std::make_unique<Gate>(loop);
              return gate_->connector(Centrum::unixConnectorFactory(loop, socket));
            },
            "reader") {}

  Answer handle(const Command& task) {
    if (task.what == mount) return mountAll();
    if (task.what == resume) return resumeWith(task.count);
    gate_->close();
    agent_.runUntil([this] { return !agent_.em->connected(); }, "disconnected");
    return {};
  }

 private:
  Answer mountAll() {
    agent_.runUntil([this] { return agent_.em->connected(); }, "connected");
    const std::uint64_t begin = now();
    const auto input = agent_.mount<RouteConfigInput>(routesPath, "r");
    const std::uint64_t end = now();
    notifierIs(input);
    return {static_cast<double>(end - begin), static_cast<double>(input->routes()),
            static_cast<double>(agent_.em->counters().bytesReceived)};
  }
  Answer resumeWith(std::uint32_t changes) {
    heard_ = 0;
    gate_->open();
    agent_.runUntil(
        [&] {
          return agent_.em->connected() && heard_ >= changes &&
                 agent_.em->mountInfo(routesPath).state == Centrum::MountState::mounted;
        },
        "resumed");
    return {static_cast<double>(now() - gate_->connectedAt()), static_cast<double>(heard_)};
  }
  void onRoute(const Mpls::RouteKey&) override { ++heard_; }

  std::unique_ptr<Gate> gate_;  // before the agent, which uses it
  Agent agent_;
  std::uint32_t heard_ = 0;
};

void expect(double got, double wanted, const char* what) {
  if (got != wanted) throw std::runtime_error("not " + std::to_string(wanted) + ' ' + what);
}

// ---- The floor ---------------------------------------------------------------------------------

/// What a route and its via take on the wire at least; the rest of a record is filled up.
struct Record {
  std::uint32_t route;
};

void sendRecords(int fd, std::uint32_t count, std::size_t size) {
  constexpr std::size_t writeSize = 64 << 10;
  std::string out;
  for (const std::uint32_t route : shuffledKeys(count, 1)) {
    const Record record{route};
    out.append(reinterpret_cast<const char*>(&record), sizeof record);
    out.append(size - sizeof record, '\0');
    if (out.size() >= writeSize) sendAll(fd, std::exchange(out, {}));
  }
  sendAll(fd, out);
}

Forma::Ptr<RouteConfigInput> buildFrom(int fd, std::uint32_t count, std::size_t size) {
  auto input = Mpls::routeConfigInputFactory("static");
  std::string in;
  while (input->routes() < count) {
    receiveSome(fd, in);
    std::size_t at = 0;
    for (; in.size() - at >= size; at += size) {
      Record record;
      std::memcpy(&record, in.data() + at, sizeof record);
      addRoute(*input, record.route);
    }
    in.erase(0, at);
  }
  return input;
}

double measureFloor(std::uint32_t routes, std::size_t size) {
  const std::array<int, 2> stream = socketPair();
  Worker receiver("floor-reader", readerCore, [&] {
    return [&](const Command&) -> Answer {
      const auto input = buildFrom(stream[1], routes, size);
      return {static_cast<double>(now())};
    };
  });
  Worker sender("floor-writer", serverCore, [&] {
    return [&](const Command&) -> Answer {
      const std::uint64_t begin = now();
      sendRecords(stream[0], routes, size);
      return {static_cast<double>(begin)};
    };
  });
  receiver.post({});
  const double begin = sender.call({})[0];
  const double end = receiver.wait()[0];
  for (const int fd : stream) close(fd);
  return end - begin;
}

}  // namespace

MountTimes measureMounts(std::uint32_t routes) {
  const Scratch scratch;
  const std::string socket = scratch.path("socket");
  const auto server = centrumServer(socket, scratch.path("log"));
  Worker writer("writer", writerCore, roleOf<Writer>(socket));
  Worker reader("reader", readerCore, roleOf<Reader>(socket));
  writer.call({Writer::build, routes, 1});

  MountTimes times{};
  const Answer first = reader.call({Reader::mount});
  expect(first[1], routes, "routes were mounted");
  times.first = first[0];
  reader.call({Reader::cut});
  times.reconnect = reader.call({Reader::resume, 0})[0];
  reader.call({Reader::cut});
  writer.call({Writer::change, routes / 100, 2});
  const Answer resumed = reader.call({Reader::resume, routes / 100});
  expect(resumed[1], routes / 100, "changes were told");
  times.resume = resumed[0];
  times.floor = measureFloor(routes, static_cast<std::size_t>(first[2]) / routes);
  return times;
}

}  // namespace Bench
