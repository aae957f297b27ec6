/// Brings one dynamic input into the merge once its mount completed.
#pragma once

#include "mpls/routeconfig/RouteConfigMergeSm.h"

namespace Mpls {

/// The completion callback of one dynamic input's mount group.
class MPLS_EXPORT RouteConfigMounter : public Centrum::MountCallback {
 public:
  /// A null `sm` raises NullException "null ValidPtr".
  RouteConfigMounter(Forma::Name name, const Forma::Ptr<RouteConfigMergeSm>& sm)
      : name_(std::move(name)), sm_(Forma::validPtr(sm)) {}
  ~RouteConfigMounter() override;

  const Forma::Name& name() const { return name_; }
  const Forma::Ptr<RouteConfigMergeSm>& sm() const { return sm_; }

  /// Aborts unless the mount succeeded and the input is there.
  void doMountsComplete(Centrum::MountStatus status,
                        Forma::Ptr<Centrum::EntityManager> em) override;

  /// Where the directory of dynamic inputs lies: "routing/mpls/route/input/dynamic/".
  static Forma::String8 directory();
  /// Where the dynamic input `name` lies.
  static Forma::String8 path(const Forma::Name& name) { return directory() + name; }

 private:
  Forma::Name name_;
  Forma::Ptr<RouteConfigMergeSm> sm_;
};

/// Makes a mounter; a null `sm` raises NullException "null ValidPtr".
MPLS_EXPORT Forma::Ptr<RouteConfigMounter> routeConfigMounterFactory(
    Forma::Name name, Forma::Ptr<RouteConfigMergeSm> sm);

}  // namespace Mpls
