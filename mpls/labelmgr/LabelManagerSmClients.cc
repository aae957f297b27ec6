// The part of LabelManagerSm that follows clients and their requests; the range is in the other.
#include "mpls/labelmgr/LabelManagerSm.h"
#include "platform/forma/Assert.h"
#include "platform/forma/Trace.h"
#include "platform/ringtrace/RingTrace.h"

namespace Mpls {

namespace {

Forma::TraceHandle trace("LabelManagerSm");

/// The ring trace keeps whose request it was.
bool holds(bool condition, const Forma::Name& client, const Forma::Name& id) {
  if (!condition) [[unlikely]]
    RingTrace::record("LabelManagerSm: client ", client.view(), ", ID ", id.view());
  return condition;
}

}  // namespace

// ---- Which clients there are --------------------------------------------------------------------

void LabelManagerSm::handleLabelRequestDir() {
  if (!initialized_) return;
  const Forma::Ptr<LabelManagerSm> self(this);
  mounter_.reserve(labelRequestDir_->entrys());
  pendingClientMount_.reserve(labelRequestDir_->entrys());
  Forma::FirstException first;
  for (const auto& one : labelRequestDir_->entryIteratorConst())
    first.keep([&] { handleLabelRequestDir(one.key); });
  first.raise();
}

void LabelManagerSm::handleLabelRequestDir(const Forma::Name& name) {
  if (!initialized_) return;
  const Forma::Ptr<LabelManagerSm> self(this);
  ++handled_;
  FORMA_TRACE(trace, 8, "handleLabelRequestDir", " handle mpls/config/labelRequest/", name);
  if (!labelRequestDir_->entry(name)) return unmountClient(name);
  // An entry that went and came in one step is another entity, which is to be mounted anew.
  const ClientLabelRequest* const filed = client_->requestFind(name);
  Forma::FirstException first;
  if (filed != nullptr && filed->isDeleted()) first.keep([&] { unmountClient(name); });
  if (!mounter_.contains(name)) first.keep([&] { mountClient(name); });
  first.raise();
}

void LabelManagerSm::mountClient(const Forma::Name& name) {
  const Forma::String8 path = LabelManagerClientMounter::path(name);
  FORMA_TRACE(trace, 8, "handleLabelRequestDir", "creating mounter, path: ", path);
  const Forma::Ptr<LabelManagerClientMounter> mounter = newMounter(name, client_);
  pendingClientMount_.put(name, true);
  const Forma::Ptr<Centrum::MountGroup> group = entityManager_->getMountGroup();
  group->doMount(path, ClientLabelRequest::formaTypeName, "r");
  group->doClose(Centrum::mountCallback(mounter), 0.0);
}

/// Whether the mount completed or not: what the client has goes back.
void LabelManagerSm::unmountClient(const Forma::Name& name) {
  FORMA_TRACE(trace, 8, "handleLabelRequestDir", "deleting mounter");
  Forma::Ptr<LabelManagerClientMounter> mounter;
  if (mounter_.take(name, &mounter)) mounter->deletedIs(true);
  pendingClientMount_.erase(name);
  if (client_->requestFind(name) != nullptr) client_->requestDel(name);
  else handleLabelManagerClient(name);
}

Forma::Ptr<LabelManagerClientMounter> LabelManagerSm::mounter(const Forma::Name& client) const {
  const auto* const found = mounter_.find(client);
  return found != nullptr ? *found : nullptr;
}

Forma::Ptr<LabelManagerClientMounter> LabelManagerSm::newMounter(
    const Forma::Name& client, const Forma::Ptr<LabelManagerClient>& to) {
  auto& mounter = *mounter_.insert(client, nullptr).first;
  if (!mounter) mounter = new LabelManagerClientMounter(client, to);
  else if (mounter->client() != to)
    Forma::throwReinstantiating(*mounter, "client", to ? to->fullName() : "null",
                                mounter->client()->fullName());
  return mounter;
}

void LabelManagerSm::clientRequestIs(const Forma::Name& name) {
  const Forma::Ptr<LabelManagerSm> self(this);
  const LabelManagerClient::RequestPtr request = client_->request(name);
  if (request) {
    auto& reactor = *clientRequest_.insert(name, nullptr).first;
    if (!reactor) reactor = std::make_shared<RequestReactor>(*this, name);
    reactor->notifierIs(request);
  } else {
    clientRequest_.erase(name);
  }
  handleLabelManagerClient(name);
}

/// The reactor may go with its client while the request is handled.
void LabelManagerSm::RequestReactor::onLabelRequest(const Forma::String8& id) {
  const Forma::Ptr<LabelManagerSm> sm(&owner);
  const Forma::Name name = client;
  if (sm->isPresent(name, notifier())) sm->handleLabelRequest(name, Forma::Name(id));
}

void LabelManagerSm::handleLabelManagerClient() {
  if (!initialized_) return;
  const Forma::Ptr<LabelManagerSm> self(this);
  Forma::FirstException first;
  for (const auto& one : apiStatus_->labelBlockAllocationIteratorConst())
    first.keep([&] { handleLabelManagerClient(one.key); });
  for (const auto& one : client_->requestIteratorConst())
    first.keep([&] { handleLabelManagerClient(one.key); });
  first.raise();
}

void LabelManagerSm::handleLabelManagerClient(const Forma::Name& client) {
  if (!initialized_) return;
  const Forma::Ptr<LabelManagerSm> self(this);
  ++handled_;
  const LabelManagerClient::RequestPtr request = client_->request(client);
  if (request) {
    FORMA_TRACE(trace, 8, "handleLabelManagerClient", " client added: ", client);
    pendingClientMount_.erase(client);
    return serveClient(client, request);
  }
  FORMA_TRACE(trace, 8, "handleLabelManagerClient", " client removed: ", client);
  if (!pendingClientMount_.contains(client)) return removeClient(client);
  FORMA_TRACE(trace, 8, "handleLabelManagerClient", " defer pending client removal: ", client);
}

/// Blocks of withdrawn requests go back before anything new is given. Observers may take the client
/// or its allocation away in between; without one nothing is given until the next change.
void LabelManagerSm::serveClient(const Forma::Name& name,
                                 const LabelManagerClient::RequestPtr& request) {
  Forma::FirstException first;
  infoOf(name);
  first.keep([&] { apiStatus_->labelBlockAllocationIs(name); });
  const auto serve = [&](const Forma::Name& id) {
    if (isPresent(name, request.get()) && apiStatus_->labelBlockAllocationFind(name) != nullptr)
      first.keep([&] { handleLabelRequest(name, id); });
  };
  if (const auto alloc = apiStatus_->labelBlockAllocation(name))
    for (const auto& one : alloc->blockIteratorConst()) serve(one.key);
  for (const auto& one : request->labelRequestIteratorConst()) serve(Forma::Name(one.key));
  first.raise();
}

void LabelManagerSm::removeClient(const Forma::Name& name) {
  const Forma::Ptr<LabelBlockAllocation> alloc = apiStatus_->labelBlockAllocation(name);
  const auto going = [&] {
    return isPresent(name, nullptr) && apiStatus_->labelBlockAllocationFind(name) == alloc.get();
  };
  if (!alloc) return;
  infoOf(name);
  Forma::FirstException first;
  for (const auto& one : alloc->blockIteratorConst())
    if (going()) first.keep([&] { removeLabelBlock(name, one.key); });
  if (going()) {
    clientInfo_.erase(name);
    first.keep([&] { apiStatus_->labelBlockAllocationDel(name); });
  }
  first.raise();
}

// ---- Requests -----------------------------------------------------------------------------------

void LabelManagerSm::handleLabelRequest() {
  if (!initialized_) return;
  const Forma::Ptr<LabelManagerSm> self(this);
  Forma::FirstException first;
  for (const auto& one : client_->requestIteratorConst())
    for (const auto& open : one.value->labelRequestIteratorConst())
      if (isPresent(one.key, one.value.get()))
        first.keep([&] { handleLabelRequest(one.key, Forma::Name(open.key)); });
  first.raise();
}

void LabelManagerSm::handleLabelRequest(const Forma::Name& client, const Forma::Name& id) {
  if (!initialized_) return;
  const Forma::Ptr<LabelManagerSm> self(this);
  ++handled_;
  FORMA_TRACE(trace, 8, "handleLabelRequest", " client: ", client, ", ID: ", id);
  const ClientLabelRequest* const cltReq = client_->requestFind(client);
  FORMA_ASSERT_TEXT(holds(cltReq != nullptr, client, id), "cltReq", "the client is not there");
  const bool open = cltReq->labelRequestFind(id) != nullptr;
  const Forma::Ptr<LabelBlockAllocation> alloc(apiStatus_->labelBlockAllocationFind(client));
  if (alloc && open) allocateBlock(client, id, *alloc);
  else if (alloc) removeLabelBlock(client, id);
  else if (open) handleLabelManagerClient(client);  // routing went off and took the allocation
}

void LabelManagerSm::allocateLabelBlock(const Forma::Name& client, const Forma::Name& id) {
  if (!initialized_) return;
  const Forma::Ptr<LabelManagerSm> self(this);
  const Forma::Ptr<LabelBlockAllocation> alloc(apiStatus_->labelBlockAllocationFind(client));
  FORMA_ASSERT_TEXT(holds(!!alloc, client, id), "alloc", "the client has no allocation");
  allocateBlock(client, id, *alloc);
}

void LabelManagerSm::allocateBlock(const Forma::Name& client, const Forma::Name& id,
                                   LabelBlockAllocation& alloc) {
  FORMA_TRACE(trace, 8, "allocateLabelBlock", " client: ", client, ", ID: ", id,
              ", range exhausted: ", rangeExhausted());
  Forma::FirstException first;
  if (keepBlock(client, id, alloc, first)) return first.raise();
  if (rangeExhausted()) {
    FORMA_TRACE(trace, 1, "allocateLabelBlock", id, " could not be fulfilled.");
    requestBacklog_ = true;
  } else {
    grantBlock(client, id, alloc, first);
  }
  first.raise();
}

/// Whether nothing is left to do for the request: it has a block that is good, or an observer of
/// the one that was not changed what was asked for. Nothing is judged while no range is in force.
bool LabelManagerSm::keepBlock(const Forma::Name& client, const Forma::Name& id,
                               LabelBlockAllocation& alloc, Forma::FirstException& first) {
  const LabelBlock* const held = alloc.blockFind(id);
  if (held == nullptr) return false;
  const Forma::Ptr<LabelManagerClientInfo> info(infoFind(client));
  if (allocValid_ && !(inForce_.contains(*held) && info && info->blockIndexFind(id))) {
    FORMA_TRACE(trace, 1, "allocateLabelBlock", " block for ID ", id, " is no longer valid.");
    const std::uint64_t before = handled_;
    if (info) first.keep([&] { info->blockIndexDel(id); });
    first.keep([&] { alloc.blockDel(id); });
    return handled_ != before && !stillOpen(client, id, alloc);
  }
  FORMA_TRACE(trace, 8, "allocateLabelBlock", id, " already fulfilled");
  if (!allocValid_) return true;
  const std::uint32_t start = held->blockStart().value();
  const std::uint32_t end = start + LabelBlock::blockSize;
  FORMA_ASSERT_TEXT(holds(start < end, client, id), "start < end", "");
  FORMA_ASSERT_TEXT(holds(start >= inForce_.base(), client, id), "start >= configRangeBase()", "");
  FORMA_ASSERT_TEXT(holds(end <= inForce_.max(), client, id), "end <= configRangeMax()", "");
  return true;
}

/// Whether the client still asks for `id` and waits for it; after observers could change things.
bool LabelManagerSm::stillOpen(const Forma::Name& client, const Forma::Name& id,
                               const LabelBlockAllocation& alloc) const {
  const ClientLabelRequest* const request = client_->requestFind(client);
  return request != nullptr && request->labelRequestFind(id) != nullptr &&
         apiStatus_->labelBlockAllocationFind(client) == &alloc && !alloc.blockFind(id);
}

/// The number is recorded before the block is published: who sees the block may give it back.
void LabelManagerSm::grantBlock(const Forma::Name& client, const Forma::Name& id,
                                LabelBlockAllocation& alloc, Forma::FirstException& first) {
  const std::uint64_t before = handled_;
  const std::uint64_t pass = rangePass_;
  const Forma::Ptr<LabelManagerClientInfo> cltInfo(infoFind(client));
  FORMA_ASSERT_TEXT(holds(!!cltInfo, client, id), "cltInfo", "nothing is known of the client");
  const Forma::Ptr<Kiln::NumAllocator> allocator = drAlloc_;
  const std::int64_t idx = allocator->getNumber();
  FORMA_ASSERT_TEXT(holds(idx >= 0, client, id), "idx >= 0", "the range is exhausted after all");
  const auto index = static_cast<std::uint32_t>(idx);
  const auto interrupted = [&] {
    return pass != rangePass_ || (handled_ != before && !stillOpen(client, id, alloc));
  };
  if (!interrupted()) first.keep([&] { cltInfo->blockIndexIs(id, index); });
  if (interrupted()) {
    if (drAlloc_ == allocator) giveBackUnused(*cltInfo, id, index, alloc);
    return;
  }
  const auto start = static_cast<std::uint32_t>(inForce_.start(index));
  first.keep([&] { alloc.blockIs(id, LabelBlock(start)); });
  FORMA_TRACE(trace, 1, "allocateLabelBlock", id, " was added, index: ", index);
}

/// A number that was drawn and did not become a block, because an observer did something else. It
/// may even have been forgotten and be somebody else's by now; so all are asked, in this rare case.
void LabelManagerSm::giveBackUnused(LabelManagerClientInfo& info, const Forma::Name& id,
                                    std::uint32_t index, const LabelBlockAllocation& alloc) {
  const std::uint32_t* const known = info.blockIndexFind(id);
  if (known != nullptr && *known == index && !alloc.blockFind(id)) info.blockIndexDel(id);
  bool used = false;
  for (const auto& one : clientInfo_)
    for (const auto& held : one.value->blockIndexIteratorConst()) used |= held.value == index;
  if (!used && drAlloc_) drAlloc_->releaseNumber(index);
}

void LabelManagerSm::giveBack(const Forma::Name& client, const Forma::Name& id,
                              std::uint32_t index) {
  const Forma::Ptr<Kiln::NumAllocator> allocator = drAlloc_;
  if (const Forma::Ptr<LabelManagerClientInfo> info = infoFind(client)) {
    const std::uint32_t* const known = info->blockIndexFind(id);
    if (known != nullptr && *known == index) info->blockIndexDel(id);
  }
  if (allocator && allocator == drAlloc_) allocator->releaseNumber(index);
}

/// The number goes first: it rests, so nobody gets it before the block is gone.
void LabelManagerSm::removeLabelBlock(const Forma::Name& client, const Forma::Name& id) {
  if (!initialized_) return;
  const Forma::Ptr<LabelManagerSm> self(this);
  FORMA_TRACE(trace, 8, "removeLabelBlock", " client: ", client, ", ID: ", id,
              ", range exhausted: ", rangeExhausted());
  const Forma::Ptr<LabelBlockAllocation> alloc = apiStatus_->labelBlockAllocation(client);
  const Forma::Ptr<LabelManagerClientInfo> cltInfo(infoFind(client));
  FORMA_ASSERT_TEXT(holds(!!alloc, client, id), "alloc", "the client has no allocation");
  FORMA_ASSERT_TEXT(holds(!!cltInfo, client, id), "cltInfo", "nothing is known of the client");
  const std::uint32_t* const idx = cltInfo->blockIndexFind(id);
  if (alloc->blockFind(id) == nullptr || idx == nullptr) {
    alloc->blockDel(id);  // one that was never adopted has no number
    FORMA_TRACE(trace, 1, "removeLabelBlock", id, " was removed (not allocated)");
    return;
  }
  const std::uint32_t index = *idx;
  Forma::FirstException first;
  first.keep([&] { giveBack(client, id, index); });
  first.keep([&] { alloc->blockDel(id); });
  FORMA_TRACE(trace, 1, "removeLabelBlock", id, " was removed, index: ", index);
  first.raise();
}

void LabelManagerSm::handleRangeExhausted() {
  if (!initialized_) return;
  FORMA_TRACE(trace, 8, "handleRangeExhausted", " backlog: ", requestBacklog_,
              ", range exhausted: ", rangeExhausted());
  if (!requestBacklog_ || rangeExhausted()) return;
  requestBacklog_ = false;
  handleLabelRequest();
}

}  // namespace Mpls
