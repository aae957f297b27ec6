#include "mpls/labelmgr/LabelWaitSm.h"

#include <ctime>
#include <utility>

namespace Mpls {

namespace {

/// Lets the reactor of a client follow `entity`, or goes without one.
template <class Reactor, class Entity>
void followEntity(Forma::HashMap<Forma::Name, std::shared_ptr<Reactor>>& reactors, LabelWaitSm& sm,
                  const Forma::Name& client, Forma::Ptr<Entity const> entity) {
  if (!entity) {
    reactors.erase(client);
    return;
  }
  auto& reactor = *reactors.insert(client, nullptr).first;
  if (!reactor) reactor = std::make_shared<Reactor>(sm, client);
  if (reactor->notifier() != entity.get()) reactor->notifierIs(std::move(entity));
}

}  // namespace

std::uint64_t LabelWaitSm::bootTime() {
  timespec now{};
  ::clock_gettime(CLOCK_BOOTTIME, &now);
  return static_cast<std::uint64_t>(now.tv_sec) * 1'000'000'000U +
         static_cast<std::uint64_t>(now.tv_nsec);
}

Forma::Ptr<LabelWaitSm> labelWaitSmFactory(Forma::Ptr<LabelManagerClient const> requests,
                                           Forma::Ptr<Forma::Dir const> labelRequestDir,
                                           Forma::Ptr<Api::Status const> apiStatus,
                                           Forma::Ptr<WaitingLabelRequests> waiting,
                                           LabelWaitSm::Clock clock) {
  Forma::Ptr<LabelWaitSm> sm(new LabelWaitSm(
      Forma::validPtr(std::move(requests)), Forma::validPtr(std::move(labelRequestDir)),
      Forma::validPtr(std::move(apiStatus)), Forma::validPtr(std::move(waiting)), clock));
  sm->handleInitialized();
  return sm;
}

LabelWaitSm::LabelWaitSm(Forma::Ptr<LabelManagerClient const> requests,
                         Forma::Ptr<Forma::Dir const> labelRequestDir,
                         Forma::Ptr<Api::Status const> apiStatus,
                         Forma::Ptr<WaitingLabelRequests> waiting, Clock clock)
    : requests_(std::move(requests)),
      labelRequestDir_(std::move(labelRequestDir)),
      apiStatus_(std::move(apiStatus)),
      waiting_(std::move(waiting)),
      clock_(clock),
      dirReactor_(*this),
      clientReactor_(*this),
      statusReactor_(*this) {
  dirReactor_.notifierIs(labelRequestDir_);
  clientReactor_.notifierIs(requests_);
  statusReactor_.notifierIs(apiStatus_);
}

LabelWaitSm::~LabelWaitSm() = default;

void LabelWaitSm::handleInitialized() {
  for (const auto& one : waiting_->clientIteratorConst()) handleClient(one.key);
  for (const auto& one : apiStatus_->labelBlockAllocationIteratorConst()) handleClient(one.key);
  for (const auto& one : requests_->requestIteratorConst()) handleClient(one.key);
}

/// The walks hold their entities: an observer of the output may change anything.
void LabelWaitSm::handleClient(const Forma::Name& client) {
  const Forma::Ptr<LabelWaitSm> self(this);
  follow(client);
  const LabelManagerClient::RequestPtr request = requests_->request(client);
  if (!request && labelRequestDir_->entry(client)) return;
  if (const Forma::Ptr<ClientWaitingRequests const> noted = waiting_->client(client))
    for (const auto& one : noted->sinceIteratorConst()) setOutputForRequest(client, one.key);
  if (!request) return;
  for (const auto& one : request->labelRequestIteratorConst())
    setOutputForRequest(client, Forma::Name(one.key));
}

void LabelWaitSm::follow(const Forma::Name& client) {
  followEntity<RequestReactor, ClientLabelRequest>(clientRequest_, *this, client,
                                                   requests_->request(client));
  followEntity<BlockReactor, LabelBlockAllocation>(clientBlock_, *this, client,
                                                   apiStatus_->labelBlockAllocation(client));
}

bool LabelWaitSm::waits(const Forma::Name& client, const Forma::Name& id) const {
  const ClientLabelRequest* const request = requests_->requestFind(client);
  if (request == nullptr || request->labelRequestFind(id) == nullptr) return false;
  const LabelBlockAllocation* const alloc = apiStatus_->labelBlockAllocationFind(client);
  return alloc == nullptr || alloc->blockFind(id) == nullptr;
}

/// One that waits goes on waiting. A client without any has no entry.
void LabelWaitSm::setOutputForRequest(const Forma::Name& client, const Forma::Name& id) {
  const Forma::Ptr<LabelWaitSm> self(this);
  const Forma::Ptr<ClientWaitingRequests> noted = waiting_->client(client);
  if (waits(client, id)) {
    if (!noted || noted->sinceFind(id) == nullptr)
      waiting_->newClient(client)->sinceIs(id, clock_());
  } else if (noted) {
    noted->sinceDel(id);
    if (noted->sinces() == 0 && waiting_->client(client) == noted) waiting_->clientDel(client);
  }
}

}  // namespace Mpls
