#include "bench/Agent.h"

#include <stdexcept>
#include <utility>

#include "bench/Row.h"
#include "mpls/entities/Registration.h"
#include "platform/centrum/UnixStream.h"

namespace Bench {
namespace {

constexpr double patience = 30;  // seconds

struct Completion : Centrum::MountCallback {
  void doMountsComplete(Centrum::MountStatus got, Forma::Ptr<Centrum::EntityManager>) override {
    status = got;
  }
  Centrum::MountStatus status = Centrum::mountPending_;
};

}  // namespace

Agent::Agent(const std::string& path, const char* name)
    : Agent([&](Kiln::EventLoop& with) { return Centrum::unixConnectorFactory(with, path); },
            name) {}

Agent::Agent(std::function<std::unique_ptr<Centrum::Connector>(Kiln::EventLoop&)> connector,
             const char* name) {
  Mpls::registerEntityTypes(registry);
  registry.add<Row>();
  registry.addEntity<Rows>();
  em = Centrum::connectedEntityManagerFactory(loop, registry, connector(loop), {name});
}

Agent::~Agent() { em->close(); }

void Agent::runUntil(const std::function<bool()>& condition, const char* what) {
  if (!loop.runUntil(condition, patience)) throw std::runtime_error(std::string("never ") + what);
}

Forma::Ptr<Forma::Entity> Agent::mount(std::string_view path, std::string_view typeName,
                                       const char* mode) {
  const Forma::Ptr<Completion> completion(new Completion);
  const auto group = em->getMountGroup();
  group->doMount(Forma::String8(path), Forma::String8(typeName), mode);
  group->doClose(completion);
  runUntil([&] { return completion->status != Centrum::mountPending_; }, "mounted");
  if (completion->status != Centrum::mountSuccess_) throw std::runtime_error("the mount failed");
  return em->getEntity(Forma::String8(path));
}

void Agent::send() {
  runUntil([&] { return em->allSent(); }, "sent");
}

}  // namespace Bench
