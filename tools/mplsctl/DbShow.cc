/// `mplsctl db show`, `get` and `watch`: what the server of the central database tells about
/// itself.
#include <unistd.h>

#include <algorithm>
#include <map>
#include <vector>

#include "agents/common/ExitCode.h"
#include "platform/centrum/ServerStatus.h"
#include "tools/mplsctl/Ages.h"
#include "tools/mplsctl/Commands.h"
#include "tools/mplsctl/Errors.h"
#include "tools/mplsctl/Output.h"
#include "tools/mplsctl/Query.h"
#include "tools/mplsctl/SnapshotWatch.h"
#include "tools/mplsctl/ValueText.h"

namespace MplsCtl {

namespace {

using Centrum::ClientStatus;
using Centrum::PathStatus;
using Centrum::Status;

constexpr Column pathColumns[] = {{"path", "PATH"},
                                  {"type", "TYPE"},
                                  {"subscribers", "SUBSCRIBERS", Kind::number},
                                  {"cells", "CELLS", Kind::number},
                                  {"tombstones", "", Kind::number},
                                  {"bytes", "BYTES", Kind::number},
                                  {"sequence", "SEQUENCE", Kind::number},
                                  {"owner", "OWNER"},
                                  {"ownerPresent", "PRESENT", Kind::flag},
                                  {"ownerGoneSeconds", "GONE", Kind::seconds}};
constexpr Column clientColumns[] = {{"name", "CLIENT"},
                                    {"pid", "PID", Kind::number},
                                    {"uid", "UID", Kind::number},
                                    {"mayWrite", "WRITES", Kind::flag},
                                    {"pathsMounted", "MOUNTED", Kind::number},
                                    {"pathsOwned", "OWNED", Kind::number},
                                    {"mountsWaiting", "WAITING", Kind::number},
                                    {"lag", "LAG", Kind::number},
                                    {"bytesIn", "BYTES IN", Kind::number},
                                    {"bytesOut", "BYTES OUT", Kind::number},
                                    {"connectedSeconds", "CONNECTED", Kind::seconds},
                                    {"stalled", "STALLED", Kind::flag}};
constexpr RecordType pathType{"path", pathColumns, 1};
constexpr RecordType clientType{"client", clientColumns, 2};

using Visit = SnapshotWatch::Visit;

std::map<std::string, PathStatus> pathsOf(const Status& status) {
  std::map<std::string, PathStatus> paths;
  for (const auto& one : status.pathIteratorConst()) paths.emplace(one.key.view(), one.value);
  return paths;
}

std::map<std::uint32_t, ClientStatus> clientsOf(const Status& status) {
  std::map<std::uint32_t, ClientStatus> clients;
  for (const auto& one : status.clientIteratorConst()) clients.emplace(one.key, one.value);
  return clients;
}

std::string logText(const Status& status) {
  if (!status.logProblem().empty())
    return "NOT WRITTEN: " + std::string(status.logProblem().view());
  return status.logBytes() == 0 ? "none" : std::to_string(status.logBytes()) + " bytes";
}

void tellServer(Output& out, const Status& status) {
  out.fact("epoch", hexText(status.epoch()));
  out.fact("sequence", status.sequence());
  out.fact("startedSeconds", status.startedAgo());
  out.fact("logBytes", status.logBytes());
  out.fact("logProblem", status.logProblem().view());
  out.fact("badConnections", status.badConnections());
  out.fact("lastBadReason", status.lastBadReason().view());
  out.line("Database " + hexText(status.epoch()) + ", sequence " +
           std::to_string(status.sequence()) + ", started " + secondsText(status.startedAgo()) +
           " ago");
  if (status.logProblem().empty()) out.line("Log: " + logText(status));
  else out.redLine("Log: " + logText(status));
  if (status.badConnections() != 0)
    out.redLine("Connections closed for what was sent: " + std::to_string(status.badConnections()) +
                ", the last: " + std::string(status.lastBadReason().view()));
}

void eachPath(const Status& status, const Visit& visit) {
  Record record(pathType);
  for (const auto& [name, path] : pathsOf(status)) {
    record.clear();
    record.text(name.empty() ? "/" : name).text(path.typeName().view());
    record.number(path.subscribers()).number(path.cells()).number(path.tombstones());
    record.number(path.bytes()).number(path.sequence());
    record.textOrNone(path.owner().view());
    if (path.owner().empty()) record.none().none();
    else if (path.ownerPresent()) record.flag(true).none();
    else record.text("false", Cell::State::fault).seconds(path.ownerAge());
    visit(record);
  }
}

/// Each sign of life counts bytes: who waits for changes is not told of them.
enum class Bytes { shown, left };

void eachClient(const Status& status, Bytes bytes, const Visit& visit) {
  Record record(clientType);
  for (const auto& [number, client] : clientsOf(status)) {
    record.clear();
    record.text(client.name().view()).number(client.pid()).number(client.uid());
    record.flag(client.mayWrite()).number(client.pathsMounted()).number(client.pathsOwned());
    record.number(client.mountsWaiting()).number(client.lag());
    if (bytes == Bytes::shown) record.number(client.bytesIn()).number(client.bytesOut());
    else record.none().none();
    record.seconds(client.connectedFor());
    record.text(client.stalled() ? "true" : "false",
                client.stalled() ? Cell::State::fault : Cell::State::value);
    visit(record);
  }
}

/// What is published may be from before somebody asked. What tells of us is not.
bool isFresh(const Status& status) {
  const auto self = static_cast<std::uint32_t>(::getpid());
  for (const auto& one : status.clientIteratorConst())
    if (one.value.pid() == self) return true;
  return false;
}

/// Waits for what the server tells; as MplsCtl::await.
bool awaitStatus(Agents::Program& program, const Options& options, Forma::Ptr<Status>& status) {
  const std::string path(Centrum::statusPath);
  program.mount({{path, Status::formaTypeName, "r"}},
                [&program, &status, path] { status = program.entity<Status>(path); });
  return await(
      program, options, [&status] { return status && isFresh(*status); },
      path + ": not brought up to date by centrum");
}

}  // namespace

RecordTypes dbTypes() {
  static constexpr const RecordType* types[] = {&pathType, &clientType};
  return types;
}

int dbShow(const Options& options) {
  Agents::Program program(options, Agents::Program::Kind::query);
  Forma::Ptr<Status> status;
  if (!awaitStatus(program, options, status)) return exitCodeOf(program);
  Output out(options);
  const auto add = [&out](const Record& record) { out.add(record); };
  tellServer(out, *status);
  out.line("");
  out.line("Paths: " + std::to_string(status->paths()));
  eachPath(*status, add);
  out.line("");
  out.line("Clients: " + std::to_string(status->clients()));
  eachClient(*status, Bytes::shown, add);
  return out.end(Agents::exitGood);
}

/// What tells of this process, and of the telling itself, would change with each look.
int dbWatch(const Options& options) {
  Agents::Program program(options, Agents::Program::Kind::follower);
  Forma::Ptr<Status> status;
  if (!awaitStatus(program, options, status)) return exitCodeOf(program);
  tellInfo(options, "watching " + std::to_string(status->paths()) + " paths, " +
                        std::to_string(status->clients()) + " clients");
  const std::vector<Filter> ours{{"path", std::string(Centrum::statusPath)},
                                 {"pid", std::to_string(::getpid())}};
  SnapshotWatch watch(options);
  return repeat(program, lookInterval(options), [&] {
    watch.look([&](const Visit& visit) {
      const Visit others = [&](const Record& record) {
        const auto isOurs = [&](const Filter& one) { return isWanted(record.view(), {one}); };
        if (std::ranges::none_of(ours, isOurs)) visit(record);
      };
      eachPath(*status, others);
      eachClient(*status, Bytes::left, others);
    });
    return true;
  });
}

}  // namespace MplsCtl
