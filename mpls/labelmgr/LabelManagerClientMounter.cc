#include "mpls/labelmgr/LabelManagerClientMounter.h"

#include "platform/forma/Trace.h"

namespace Mpls {

namespace {

Forma::TraceHandle trace("LabelManagerClientMounter");

}  // namespace

FORMA_DEFINE_ENTITY(LabelManagerClientMounter)

LabelManagerClientMounter::LabelManagerClientMounter(Forma::Name name,
                                                     Forma::Ptr<LabelManagerClient> client)
    : Mounter(std::move(name)), client_(Forma::validPtr(std::move(client))) {}

LabelManagerClientMounter::~LabelManagerClientMounter() = default;

Forma::String8 LabelManagerClientMounter::directory() { return "mpls/config/labelRequest/"; }

void LabelManagerClientMounter::doMountsComplete(Centrum::MountStatus status,
                                                 Forma::Ptr<Centrum::EntityManager> em) {
  FORMA_TRACE(trace, 8, "doMountsComplete", " name: ", name(), ", mntStatus: ", status);
  if (isDeleted()) return;
  const Forma::String8 path = LabelManagerClientMounter::path(name());
  Forma::Ptr<ClientLabelRequest const> request;
  if (status == Centrum::mountSuccess())
    request = Forma::ptrCast<ClientLabelRequest>(em->getEntity(path));
  if (request) client_->requestIs(name(), std::move(request));
  else FORMA_TRACE(trace, 1, "doMountsComplete", " unable to mount: ", path, ", status: ", status);
}

}  // namespace Mpls
