#include "platform/centrum/EntityManager.h"

namespace Centrum {

namespace {

struct MounterCallback : MountCallback {
  explicit MounterCallback(Forma::Ptr<Mounter> m) : mounter(Forma::validPtr(std::move(m))) {}
  void doMountsComplete(MountStatus status, Forma::Ptr<EntityManager> em) override {
    mounter->doMountsComplete(status, std::move(em));
  }
  Forma::Ptr<Mounter> mounter;
};

}  // namespace

MountCallback::~MountCallback() = default;
Mounter::~Mounter() = default;
MountGroup::~MountGroup() = default;
EntityManager::~EntityManager() = default;

void checkMountMode(const Forma::String8& mode) {
  if (!(mode == "r") && !(mode == "w") && !(mode == "x"))
    Forma::throwRangeException("MountGroup::mode other than \"r\", \"w\" or \"x\" not allowed");
}

Forma::Ptr<MountCallback> mountCallback(Forma::Ptr<Mounter> mounter) {
  return Forma::Ptr<MountCallback>(new MounterCallback(std::move(mounter)));
}

}  // namespace Centrum
