/// A mount group of ClientManager.
///
/// Thread    that of the event loop.
#pragma once

#include <string>
#include <vector>

#include "platform/centrum/ClientManager.h"

namespace Centrum {

class ClientGroup : public MountGroup {
 public:
  explicit ClientGroup(Forma::Ptr<ClientManager> manager) : manager_(std::move(manager)) {}
  ~ClientGroup() override;

  void doMount(const Forma::String8& path, const Forma::String8& typeName,
               const Forma::String8& mode) override;
  void doClose(Forma::Ptr<MountCallback> callback, double delay) override;

  /// Completes it, in a turn of its own, when every mount is ready or one is refused.
  void check();
  /// Forgets the callback: nothing is called any more.
  void cancel() { callback_ = nullptr; }

 private:
  struct Wish {
    std::string path;
    std::string typeName;
    std::string mode;
  };
  void start();
  void complete(MountStatus status);

  Forma::Ptr<ClientManager> manager_;
  Forma::Ptr<MountCallback> callback_;
  std::vector<Wish> wishes_;
  std::vector<ClientMount*> mounts_;
  MountStatus refusal_ = mountPending_;
  bool closed_ = false;
  bool started_ = false;
};

}  // namespace Centrum
