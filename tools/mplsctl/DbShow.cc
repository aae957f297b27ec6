/// `mplsctl db show`: what the server of the central database tells about itself.
#include <unistd.h>

#include <iomanip>
#include <iostream>
#include <map>
#include <sstream>

#include "agents/common/ExitCode.h"
#include "agents/common/JsonWriter.h"
#include "agents/common/Printable.h"
#include "agents/common/Table.h"
#include "platform/centrum/ServerStatus.h"
#include "tools/mplsctl/Ages.h"
#include "tools/mplsctl/Query.h"

namespace MplsCtl {

namespace {

using Agents::Json;
using Agents::printable;
using Agents::Row;
using Centrum::ClientStatus;
using Centrum::PathStatus;
using Centrum::Status;

std::string textOf(const Forma::String8& text) { return printable(text.view()); }

std::string orDash(const Forma::String8& text) { return text.empty() ? "-" : textOf(text); }

/// Directories belong to nobody; the path of one who went is marked.
std::string ownerText(const PathStatus& path) {
  if (path.owner().empty()) return "-";
  if (path.ownerPresent()) return textOf(path.owner());
  return "nobody since " + secondsText(path.ownerAge()) + ", was " + textOf(path.owner());
}

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

std::vector<Row> pathRows(const Status& status) {
  std::vector<Row> rows{{"PATH", "TYPE", "SUBSCRIBERS", "CELLS", "BYTES", "SEQUENCE", "OWNER"}};
  for (const auto& [name, path] : pathsOf(status))
    rows.push_back({name.empty() ? "/" : printable(name), textOf(path.typeName()),
                    std::to_string(path.subscribers()), std::to_string(path.cells()),
                    std::to_string(path.bytes()), std::to_string(path.sequence()),
                    ownerText(path)});
  return rows;
}

std::vector<Row> clientRows(const Status& status) {
  std::vector<Row> rows{{"CLIENT", "PID", "UID", "WRITES", "MOUNTED", "OWNED", "WAITING", "LAG",
                         "BYTES IN", "BYTES OUT", "CONNECTED", "STATE"}};
  for (const auto& [number, client] : clientsOf(status))
    rows.push_back({orDash(client.name()), std::to_string(client.pid()),
                    std::to_string(client.uid()), client.mayWrite() ? "yes" : "no",
                    std::to_string(client.pathsMounted()), std::to_string(client.pathsOwned()),
                    std::to_string(client.mountsWaiting()), std::to_string(client.lag()),
                    std::to_string(client.bytesIn()), std::to_string(client.bytesOut()),
                    secondsText(client.connectedFor()), client.stalled() ? "stalled" : "good"});
  return rows;
}

std::string hexText(std::uint64_t number) {
  std::ostringstream text;
  text << std::hex << std::setfill('0') << std::setw(16) << number;
  return text.str();
}

void printText(const Status& status) {
  std::cout << "Database " << hexText(status.epoch()) << ", sequence " << status.sequence()
            << ", started " << secondsText(status.startedAgo()) << " ago\nLog: ";
  if (!status.logProblem().empty()) std::cout << "NOT WRITTEN: " << textOf(status.logProblem());
  else if (status.logBytes() == 0) std::cout << "none";
  else std::cout << status.logBytes() << " bytes";
  std::cout << '\n';
  if (status.badConnections() != 0)
    std::cout << "Connections closed for what was sent: " << status.badConnections()
              << ", the last: " << textOf(status.lastBadReason()) << '\n';
  std::cout << "\nPaths: " << status.paths() << '\n';
  Agents::printTable(std::cout, pathRows(status));
  std::cout << "\nClients: " << status.clients() << '\n';
  Agents::printTable(std::cout, clientRows(status));
}

Json pathJson(const std::string& name, const PathStatus& path) {
  Json json = {{"path", name},
               {"type", path.typeName().view()},
               {"owner", path.owner().view()},
               {"ownerPresent", path.ownerPresent()}};
  if (!path.ownerPresent()) json["ownerGoneSeconds"] = path.ownerAge();
  json.update({{"subscribers", path.subscribers()},
               {"cells", path.cells()},
               {"tombstones", path.tombstones()},
               {"bytes", path.bytes()},
               {"sequence", path.sequence()}});
  return json;
}

Json clientJson(const ClientStatus& client) {
  return {{"name", client.name().view()},
          {"pid", client.pid()},
          {"uid", client.uid()},
          {"mayWrite", client.mayWrite()},
          {"pathsMounted", client.pathsMounted()},
          {"pathsOwned", client.pathsOwned()},
          {"mountsWaiting", client.mountsWaiting()},
          {"lag", client.lag()},
          {"bytesIn", client.bytesIn()},
          {"bytesOut", client.bytesOut()},
          {"stalled", client.stalled()},
          {"connectedSeconds", client.connectedFor()}};
}

void printJson(const Status& status) {
  Agents::JsonWriter writer(std::cout, false);
  writer.begin();
  writer.members({{"epoch", hexText(status.epoch())},
                  {"sequence", status.sequence()},
                  {"startedSeconds", status.startedAgo()},
                  {"logBytes", status.logBytes()},
                  {"logProblem", status.logProblem().view()},
                  {"badConnections", status.badConnections()},
                  {"lastBadReason", status.lastBadReason().view()}});
  writer.list("paths", pathsOf(status),
              [](const auto& one) { return pathJson(one.first, one.second); });
  writer.list("clients", clientsOf(status), [](const auto& one) { return clientJson(one.second); });
  writer.end();
}

/// What is published may be from before somebody asked. What tells of us is not.
bool isFresh(const Status& status) {
  const auto self = static_cast<std::uint32_t>(::getpid());
  for (const auto& one : status.clientIteratorConst())
    if (one.value.pid() == self) return true;
  return false;
}

}  // namespace

int dbShow(const Options& options) {
  const std::string path(Centrum::statusPath);
  Agents::Program program(options, Agents::Program::Kind::query);
  Forma::Ptr<Status> status;
  program.mount({{path, Status::formaTypeName, "r"}},
                [&] { status = program.entity<Status>(path); });
  if (!await(
          program, options, [&] { return status && isFresh(*status); },
          path + ": not brought up to date by centrum"))
    return exitCodeOf(program);
  (options.json ? printJson : printText)(*status);
  return Agents::exitGood;
}

}  // namespace MplsCtl
