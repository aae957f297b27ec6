#include "platform/centrum/MountRefusal.h"

#include "platform/forma/Schema.h"

namespace Centrum {

namespace {

std::string shown(const std::string& name) { return name.empty() ? "the root directory" : name; }

}  // namespace

MountProblem otherType(const Path& path, const Message::Mount& asked) {
  const std::string name = shown(path.fullName());
  if (asked.typeName.view() != path.typeName())
    return MountRefusal{mountWrongType(), name + " is of type " + path.typeName() +
                                              ", not of type " +
                                              std::string(asked.typeName.view())};
  if (path.isDirectory() || asked.schema == path.schema()) return std::nullopt;
  return MountRefusal{mountRefused(), name + ": the schema of " + path.typeName() + " is " +
                                          Forma::schemaHashText(asked.schema) + " here, but " +
                                          Forma::schemaHashText(path.schema()) +
                                          " in the database"};
}

MountProblem noDirectory(const Database& database, const std::string& name) {
  for (std::size_t end = name.find('/'); end != std::string::npos; end = name.find('/', end + 1)) {
    const Path* above = database.find(std::string_view(name).substr(0, end));
    if (!above) break;
    if (!above->isDirectory())
      return MountRefusal{mountWrongType(), above->fullName() + " is of type " + above->typeName() +
                                                ", no directory for " + name};
  }
  return std::nullopt;
}

MountProblem missingRight(const Listener& listener, const Peer& peer, const std::string& name) {
  if (listener.mayWrite(peer)) return std::nullopt;
  return MountRefusal{mountRefused(), shown(name) + ": writing needs " + listener.neededRight() +
                                          "; peer is uid " + std::to_string(peer.uid) + " gid " +
                                          std::to_string(peer.gid)};
}

}  // namespace Centrum
