/// Brings the requests of one client to the label manager once their mount completed.
#pragma once

#include "mpls/labelmgr/LabelManagerClient.h"
#include "platform/centrum/EntityManager.h"

namespace Mpls {

/// Named after the client. The label manager makes one when the client's directory entry appears,
/// and marks it as deleted when that goes: a mount that completes later brings nothing.
///
/// Thread    the agent's event thread; no other.
class MPLS_EXPORT LabelManagerClientMounter : public Centrum::Mounter {
  FORMA_ENTITY(Mpls::LabelManagerClientMounter, Centrum::Mounter, )
  /// Where the requests are filed.
  FORMA_FIXED(Forma::Ptr<LabelManagerClient>, client)

 public:
  /// A null `client` raises NullException "null ValidPtr".
  LabelManagerClientMounter(Forma::Name name, Forma::Ptr<LabelManagerClient> client);
  ~LabelManagerClientMounter() override;

  /// Files the client's requests; a failed mount is traced, and the client stays pending.
  void doMountsComplete(Centrum::MountStatus status,
                        Forma::Ptr<Centrum::EntityManager> em) override;

  /// Where the directory of all clients' requests lies: "mpls/config/labelRequest/".
  static Forma::String8 directory();
  /// Where the requests of the client `name` lie.
  static Forma::String8 path(const Forma::Name& name) { return directory() + name; }
};

}  // namespace Mpls
