#include "mpls/labelmgr/LabelManagerSm.h"

#include <utility>

#include "platform/forma/Trace.h"
#include "platform/ringtrace/RingTrace.h"

namespace Mpls {

namespace {

Forma::TraceHandle trace("LabelManagerSm");

}  // namespace

Forma::Ptr<LabelManagerSm> labelManagerSmFactory(Kiln::TimerWheel& timerWheel,
                                                 Forma::Ptr<Centrum::EntityManager> entityManager,
                                                 Forma::Ptr<Forma::Dir const> labelRequestDir,
                                                 Forma::Ptr<Config const> mplsConfig,
                                                 Forma::Ptr<Api::Status> apiStatus) {
  Forma::Ptr<LabelManagerSm> sm(new LabelManagerSm(
      timerWheel, Forma::validPtr(std::move(entityManager)),
      Forma::validPtr(std::move(labelRequestDir)), Forma::validPtr(std::move(mplsConfig)),
      Forma::validPtr(std::move(apiStatus))));
  try {
    sm->handleInitialized();  // not in the constructor: handlers hold pointers to the machine
  } catch (const Forma::Exception& problem) {  // without a machine nobody would see the range fixed
    RingTrace::record("LabelManagerSm: the first pass raised ", std::string_view(problem.what()));
    FORMA_TRACE(trace, 1, "handleInitialized", " raised ", std::string_view(problem.what()));
  }
  return sm;
}

LabelManagerSm::LabelManagerSm(Kiln::TimerWheel& timerWheel,
                               Forma::Ptr<Centrum::EntityManager> entityManager,
                               Forma::Ptr<Forma::Dir const> labelRequestDir,
                               Forma::Ptr<Config const> mplsConfig,
                               Forma::Ptr<Api::Status> apiStatus)
    : timerWheel_(timerWheel),
      entityManager_(std::move(entityManager)),
      labelRequestDir_(std::move(labelRequestDir)),
      mplsConfig_(std::move(mplsConfig)),
      apiStatus_(std::move(apiStatus)),
      client_(labelManagerClientFactory("client")),
      drAllocStatus_(Kiln::numAllocatorStatusFactory()),
      dirReactor_(*this),
      configReactor_(*this),
      statusReactor_(*this),
      clientReactor_(*this) {
  dirReactor_.notifierIs(labelRequestDir_);
  configReactor_.notifierIs(mplsConfig_);
  statusReactor_.notifierIs(drAllocStatus_);
  clientReactor_.notifierIs(client_);
}

LabelManagerSm::~LabelManagerSm() {
  mounter_.forEach([](const Forma::Name&, const auto& mounter) { mounter->deletedIs(true); });
}

// ---- Queries ------------------------------------------------------------------------------------

DynamicRange LabelManagerSm::configured() const {
  const LabelRange* const found = mplsConfig_->labelRangeFind(LabelRangeInfo::rangeTypeDynamic);
  return DynamicRange(found != nullptr ? *found : LabelRangeInfo::dynamicDefaultRange);
}

Netbase::MplsLabel LabelManagerSm::blockStart(std::uint32_t index) const {
  constexpr std::uint64_t tooLarge = Netbase::MplsLabel::luWithdraw + 1;  // raises
  return {static_cast<std::uint32_t>(std::min(configured().start(index), tooLarge))};
}

Forma::Ptr<LabelManagerClientInfo const> LabelManagerSm::clientInfo(
    const Forma::Name& client) const {
  return infoFind(client);
}

LabelManagerClientInfo* LabelManagerSm::infoFind(const Forma::Name& client) const {
  const auto* const found = clientInfo_.find(client);
  return found != nullptr ? found->get() : nullptr;
}

LabelManagerClientInfo& LabelManagerSm::infoOf(const Forma::Name& client) {
  auto& info = *clientInfo_.insert(client, nullptr).first;
  if (!info) info = labelManagerClientInfoFactory(client);
  return *info;
}

// ---- The range ----------------------------------------------------------------------------------

void LabelManagerSm::handleInitialized() {
  const Forma::Ptr<LabelManagerSm> self(this);
  initialized_ = true;
  ++rangePass_;
  drAlloc_ = nullptr;
  allocValid_ = false;
  restarting_ = mplsConfig_->mplsRouting();
  if (restarting_) {
    drAllocConfigIs(Kiln::Range(), 1);
    return handleLabelRange();
  }
  Forma::FirstException first;
  dropAllocations(first);
  first.raise();
}

void LabelManagerSm::checkClearLabelRanges() {
  if (initialized_) handleInitialized();
}

void LabelManagerSm::drAllocConfigIs(const Kiln::Range& range, std::uint32_t moveCount) {
  if (drAllocConfig_ && drAllocConfig_->moveCount() == moveCount) drAllocConfig_->rangeIs(range);
  else drAllocConfig_ = Kiln::numAllocatorConfigFactory(range, moveCount);
}

void LabelManagerSm::handleLabelRange() {
  if (!initialized_) return;
  const Forma::Ptr<LabelManagerSm> self(this);
  const std::uint64_t pass = ++rangePass_;
  allocValid_ = false;
  const DynamicRange range = configured();
  Forma::FirstException first;
  if (range.blocks() != 0) {
    setAllocator(range, first);
  } else {
    drAlloc_ = nullptr;
    dropAllocations(first);
  }
  if (pass != rangePass_) return first.raise();  // an observer began a newer pass, which did it all
  restarting_ = false;
  inForce_ = range;
  allocValid_ = settled_ = drAlloc_ != nullptr;
  first.keep([&] { apiStatus_->dynamicLabelRangeIs(range.range()); });
  if (pass != rangePass_) return first.raise();
  first.keep([&] { dropForgottenBlocks(range, first); });
  first.keep([&] { handleLabelRequestDir(); });
  first.keep([&] { handleLabelManagerClient(); });
  first.keep([&] { handleLabelRequest(); });
  first.raise();
}

/// The allocator of a range that holds a block: the one there is while the base stays the same.
void LabelManagerSm::setAllocator(const DynamicRange& range, Forma::FirstException& first) {
  const std::uint64_t pass = rangePass_;
  FORMA_TRACE(trace, 1, "handleLabelRange", " allocate ", range.blocks(), " blocks.");
  const bool keep = drAlloc_ && settled_ && inForce_.base() == range.base();
  const bool reset = drAlloc_ && !keep;
  if (keep) first.keep([&] { forgetIndexesOutside(range); });
  else drAlloc_ = nullptr;  // before it hears of numbers that mean other labels
  if (pass != rangePass_) return;
  first.keep([&] { drAllocConfigIs(Kiln::Range(0, range.blocks() - 1), 1); });
  first.keep([&] { drAllocConfig_->expiryTimeIs(1.0); });
  if (keep || pass != rangePass_) return;
  if (reset) FORMA_TRACE(trace, 1, "handleLabelRange", "reset allocator");
  newAllocator(first);
  if (pass != rangePass_) return;
  if (restarting_) {
    bool adopted = false;
    first.keep([&] { adopted = syncAllocations(); });
    if (adopted || pass != rangePass_) return;
    newAllocator(first);
    if (pass != rangePass_) return;
  }
  dropAllocations(first);
}

void LabelManagerSm::newAllocator(Forma::FirstException& first) {
  const std::uint64_t pass = rangePass_;
  drAlloc_ = nullptr;
  settled_ = false;
  const auto make = [&] {
    auto made = Kiln::numAllocatorFactory(drAllocConfig_, drAllocStatus_, timerWheel_);
    if (pass == rangePass_) drAlloc_ = std::move(made);
  };
  first.keep(make);
  // An observer of the status raised and took the allocator along. What it was told stands, so a
  // second one has nothing to tell.
  if (!drAlloc_ && pass == rangePass_) first.keep(make);
}

/// The allocator is about to forget the numbers outside of `range`. So does the machine, and a
/// block that it does not remember is not kept, wherever the range goes next.
void LabelManagerSm::forgetIndexesOutside(const DynamicRange& range) {
  if (range.range().size() >= inForce_.range().size()) return;
  for (const auto& one : apiStatus_->labelBlockAllocationIteratorConst()) {
    const Forma::Ptr<LabelManagerClientInfo> info = infoFind(one.key);
    if (!info) continue;
    for (const auto& held : one.value->blockIteratorConst())
      if (!range.issues(held.value)) info->blockIndexDel(held.key);
  }
}

/// Takes blocks away that others could be given from now on, and those of clients that are not
/// there to be given another one. The rest is replaced when the request is handled.
void LabelManagerSm::dropForgottenBlocks(const DynamicRange& range, Forma::FirstException& first) {
  for (const auto& one : apiStatus_->labelBlockAllocationIteratorConst()) {
    const Forma::Ptr<LabelManagerClientInfo const> info = infoFind(one.key);
    if (!info || info->blockIndexs() == one.value->blocks()) continue;
    for (const auto& held : one.value->blockIteratorConst()) {
      const bool replaced = client_->requestFind(one.key) && !range.contains(held.value);
      if (!replaced && !info->blockIndexFind(held.key))
        first.keep([&] { one.value->blockDel(held.key); });
    }
  }
}

/// Takes all blocks back. An allocation and what is known of its numbers go at once: observers may
/// bring a client back that they see without one.
void LabelManagerSm::dropAllocations(Forma::FirstException& first) {
  const std::uint64_t pass = rangePass_;
  for (const auto& one : apiStatus_->labelBlockAllocationIteratorConst()) {
    if (pass != rangePass_) return;
    clientInfo_.erase(one.key);
    first.keep([&] { apiStatus_->labelBlockAllocationDel(one.key); });
  }
}

// ---- What an earlier instance published ---------------------------------------------------------

bool LabelManagerSm::syncAllocations() {
  if (!drAlloc_) return false;
  const DynamicRange range = configured();
  clientInfo_.reserve(apiStatus_->labelBlockAllocations());
  for (const auto& one : apiStatus_->labelBlockAllocationIteratorConst()) {
    FORMA_TRACE(trace, 1, "syncAllocations", " sync client ", one.key, " with Centrum (restart)");
    infoOf(one.key);
    for (const auto& held : one.value->blockIteratorConst()) {
      if (apiStatus_->labelBlockAllocationFind(one.key) != one.value.get()) break;
      if (!drAlloc_ || !adopt(one.key, held.key, held.value, range)) return false;
    }
  }
  return true;
}

bool LabelManagerSm::adopt(const Forma::Name& client, const Forma::Name& id,
                           const LabelBlock& block, const DynamicRange& range) {
  const Netbase::MplsLabel start = block.blockStart();
  const std::uint32_t idx = range.blockIdx(start);
  if (!range.issues(block)) {
    FORMA_TRACE(trace, 1, "syncAllocations", " Centrum status is inconsistent for client", client,
                ", idx: ", idx, ", idx max: ", drAllocConfig_->range().last(),
                ", iter->blockStart(): ", start, ", blockStart( idx ): ", range.start(idx));
    return false;
  }
  if (drAlloc_->isReserved(idx)) {
    FORMA_TRACE(trace, 1, "syncAllocations", " error: idx already used for client", client,
                ", idx: ", idx, ", iter->blockStart(): ", start,
                ", blockStart( idx ): ", range.start(idx));
    return false;
  }
  infoOf(client).blockIndexIs(id, idx);
  if (drAlloc_) drAlloc_->reserveNumber(idx);
  FORMA_TRACE(trace, 1, "syncAllocations", " client ", client, " uses block ", idx, " for request ",
              id, ", block start: ", start);
  return true;
}

}  // namespace Mpls
