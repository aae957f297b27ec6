#include "platform/centrum/StatusPublisher.h"

#include <algorithm>
#include <utility>

#include "platform/centrum/Registration.h"
#include "platform/centrum/ServerConnection.h"
#include "platform/forma/Content.h"
#include "platform/forma/Schema.h"

namespace Centrum {

namespace {

std::uint64_t statusSchema() {
  Forma::TypeRegistry registry;
  registerTypes(registry);
  return Forma::schemaHash(Status::formaEntityType(), registry);
}

}  // namespace

StatusPublisher::StatusPublisher(ServerShared& shared, MountTable& table,
                                 EachConnection eachConnection)
    : shared_(shared),
      table_(table),
      eachConnection_(std::move(eachConnection)),
      started_(shared.loop.now()),
      path_(table.serverPath(statusPath, Status::formaTypeName, statusSchema())),
      timer_(shared.loop.timers(), [this] { publish(); }),
      publishedAt_(started_) {
  table_.onServerReadIs([this] { publish(); });
}

void StatusPublisher::badConnection(const std::string& reason) {
  ++badConnections_;
  lastBadReason_ = reason;
  ++shared_.activity;
}

void StatusPublisher::turnEnded() {
  if (published_ == shared_.activity || timer_.pending()) return;
  if (!table_.place(path_).readers.empty()) timer_.scheduleAt(publishedAt_ + period);
}

void StatusPublisher::publish() {
  published_ = shared_.activity;
  publishedAt_ = shared_.loop.now();
  std::string content;
  Forma::encodeContent(content, *status());
  table_.renew(path_, content);
}

Forma::Ptr<Status> StatusPublisher::status() const {
  Forma::Ptr<Status> status = statusFactory("status");
  status->epochIs(shared_.database->epoch());
  status->sequenceIs(shared_.database->sequence());
  status->startedAgoIs(publishedAt_ - started_);
  status->logBytesIs(shared_.log.size());
  status->logProblemIs(Forma::String8(shared_.log.problem()));
  status->badConnectionsIs(badConnections_);
  status->lastBadReasonIs(Forma::String8(lastBadReason_));
  addPaths(*status);
  addClients(*status);
  return status;
}

void StatusPublisher::addPaths(Status& status) const {
  shared_.database->eachPath(
      [&](Path& path) { status.pathIs(Forma::Name(path.fullName()), pathStatus(path)); });
}

void StatusPublisher::addClients(Status& status) const {
  eachConnection_([&](const ServerConnection& connection) {
    status.clientIs(connection.number(), clientStatus(connection));
  });
}

PathStatus StatusPublisher::pathStatus(Path& path) const {
  const Place& place = table_.place(path);
  PathStatus status;
  status.typeNameIs(Forma::String8(path.typeName()));
  status.ownerIs(place.holder);
  status.ownerPresentIs(place.ownerPresent());
  if (!place.ownerPresent()) status.ownerAgeIs(publishedAt_ - place.since);
  status.writerIs(path.writer());
  status.subscribersIs(static_cast<std::uint32_t>(place.readers.size()));
  status.cellsIs(path.liveCells());
  status.tombstonesIs(path.deadCells());
  status.bytesIs(path.bytes());
  status.sequenceIs(path.sequence());
  return status;
}

ClientStatus StatusPublisher::clientStatus(const ServerConnection& connection) const {
  const auto& mounts = connection.mounts();
  const auto owned = std::count_if(mounts.begin(), mounts.end(),
                                   [](const auto& one) { return one.second.owned.has_value(); });
  ClientStatus status;
  status.nameIs(connection.name());
  status.pidIs(static_cast<std::uint32_t>(connection.peer().pid));
  status.uidIs(connection.peer().uid);
  status.mayWriteIs(connection.mayWrite());
  status.pathsMountedIs(static_cast<std::uint32_t>(mounts.size()));
  status.pathsOwnedIs(static_cast<std::uint32_t>(owned));
  status.mountsWaitingIs(static_cast<std::uint32_t>(connection.waiting));
  status.lagIs(connection.lag());
  status.bytesInIs(connection.bytesIn());
  status.bytesOutIs(connection.bytesOut());
  status.stalledIs(connection.stalled());
  status.connectedForIs(connection.connectedFor());
  return status;
}

}  // namespace Centrum
