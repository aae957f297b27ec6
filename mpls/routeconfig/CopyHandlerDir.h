/// Where configuration sessions find the copy handlers of MPLS.
#pragma once

#include "mpls/routeconfig/MplsConfigCopyHandler.h"

namespace Mpls {

/// Empty when it is made: newCopyHandler() puts the handler there, Session::CopyHandlers takes it
/// from there.
class MPLS_EXPORT CopyHandlerDir : public Forma::NamedEntity {
  FORMA_ENTITY(Mpls::CopyHandlerDir, Forma::NamedEntity, copyHandler)
  FORMA_CHILD(MplsConfigCopyHandler, copyHandler, newCopyHandler, onCopyHandler)

 public:
  class NotifieeConst : public Forma::NotifieeOf<CopyHandlerDir> {
   public:
    virtual void onCopyHandler() {}
  };
  using Notifiee = Forma::NotifieeMutable<CopyHandlerDir, NotifieeConst>;

  explicit CopyHandlerDir(Forma::Name name) : NamedEntity(std::move(name)) {}
  ~CopyHandlerDir() override;
};

FORMA_FACTORY(copyHandlerDirFactory, CopyHandlerDir, Forma::Name)

}  // namespace Mpls
