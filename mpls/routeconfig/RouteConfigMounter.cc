#include "mpls/routeconfig/RouteConfigMounter.h"

#include "platform/forma/Assert.h"
#include "platform/forma/Trace.h"
#include "platform/ringtrace/RingTrace.h"

namespace Mpls {

namespace {

Forma::TraceHandle trace("RouteConfigMounter");

}  // namespace

RouteConfigMounter::~RouteConfigMounter() = default;

Forma::String8 RouteConfigMounter::directory() { return "routing/mpls/route/input/dynamic/"; }

void RouteConfigMounter::doMountsComplete(Centrum::MountStatus status,
                                          Forma::Ptr<Centrum::EntityManager> em) {
  FORMA_TRACE(trace, 8, "doMountsComplete", " mountStatus ", status, " for ", name_);
  if (status != Centrum::mountSuccess()) {
    RingTrace::record("invalid mountStatus ", formaEnumName(status));
    FORMA_ASSERT_TEXT(false, "mountStatus == Centrum::mountSuccess()", "");
  }
  const auto routeConfig = Forma::ptrCast<RouteConfigInput>(em->getEntity(path(name_)));
  if (!routeConfig) {
    RingTrace::record("internal error for ", name_.view());
    FORMA_ASSERT_TEXT(false, "routeConfig", "");
  }
  try {
    sm_->dynamicConfigIs(name_, routeConfig);
  } catch (...) {  // from a reader of the merged configuration, when the merge was done
    sm_->pendingMountDel(name_);
    throw;
  }
  sm_->pendingMountDel(name_);
}

Forma::Ptr<RouteConfigMounter> routeConfigMounterFactory(Forma::Name name,
                                                         Forma::Ptr<RouteConfigMergeSm> sm) {
  return Forma::Ptr<RouteConfigMounter>(new RouteConfigMounter(std::move(name), sm));
}

}  // namespace Mpls
