#include "mpls/labelmgr/LabelPlan.h"

#include <algorithm>
#include <array>
#include <utility>

#include "mpls/labelmgr/DynamicRange.h"

namespace Mpls {

namespace {

class Planner {
 public:
  Planner(const LabelRange& next, const Api::Status& status, const LabelManagerClient& requests)
      : next_(next), status_(status), requests_(requests), free_(next_.blocks()) {
    keeps_ = free_ != 0 && status.dynamicLabelRange().base() == next_.range().base();
  }

  LabelPlan run() {
    plan_.range = next_.range();
    plan_.blocks = next_.blocks();
    if (keeps_) {
      for (const auto& one : status_.labelBlockAllocationIteratorConst())
        for (const auto& held : one.value->blockIteratorConst())
          if (isKept(one.key, held.key, held.value)) take();  // two may hold one, by a fault
      for (const auto& one : status_.labelBlockAllocationIteratorConst())
        planHeld(one.key, *one.value);
    }
    for (const auto& one : requests_.requestIteratorConst())
      if (!keeps_ || !status_.labelBlockAllocationFind(one.key)) planOpen(one.key, *one.value);
    if (!keeps_)
      for (const auto& one : status_.labelBlockAllocationIteratorConst())
        planLost(one.key, *one.value);
    return std::move(plan_);
  }

 private:
  /// A client that is not there keeps what it has until its requests are known.
  bool isRequested(const Forma::Name& client, const Forma::Name& id) const {
    const ClientLabelRequest* const request = requests_.requestFind(client);
    return request == nullptr || request->labelRequestFind(id) != nullptr;
  }
  bool isKept(const Forma::Name& client, const Forma::Name& id, const LabelBlock& block) const {
    return keeps_ && next_.issues(block) && isRequested(client, id);
  }
  void add(const Forma::Name& client, const Forma::Name& id, const LabelBlock& block,
           LabelFate fate) {
    plan_.steps.push_back({client, id, block, fate});
  }
  bool take() {
    if (free_ == 0) return false;
    --free_;
    return true;
  }

  /// The base stays: the client's blocks that lie in the new range stay, then what waits is served.
  void planHeld(const Forma::Name& client, const LabelBlockAllocation& alloc) {
    const ClientLabelRequest* const request = requests_.requestFind(client);
    for (const auto& held : alloc.blockIteratorConst()) {
      if (isKept(client, held.key, held.value)) {
        add(client, held.key, held.value, LabelFate::keeps);
      } else {
        const bool open = request != nullptr && request->labelRequestFind(held.key) != nullptr;
        add(client, held.key, held.value, open && take() ? LabelFate::moves : LabelFate::loses);
      }
    }
    if (request == nullptr) return;
    for (const auto& one : request->labelRequestIteratorConst())
      if (const Forma::Name id(one.key); !alloc.blockFind(id))
        add(client, id, {}, take() ? LabelFate::gains : LabelFate::waits);
  }
  /// All blocks are taken back, and the requests served in their order.
  void planOpen(const Forma::Name& client, const ClientLabelRequest& request) {
    const LabelBlockAllocation* const alloc = status_.labelBlockAllocationFind(client);
    for (const auto& one : request.labelRequestIteratorConst()) {
      const Forma::Name id(one.key);
      const LabelBlock* const held = alloc != nullptr ? alloc->blockFind(id) : nullptr;
      if (held != nullptr) add(client, id, *held, take() ? LabelFate::moves : LabelFate::loses);
      else add(client, id, {}, take() ? LabelFate::gains : LabelFate::waits);
    }
  }
  void planLost(const Forma::Name& client, const LabelBlockAllocation& alloc) {
    const ClientLabelRequest* const request = requests_.requestFind(client);
    for (const auto& held : alloc.blockIteratorConst())
      if (request == nullptr || !request->labelRequestFind(held.key))
        add(client, held.key, held.value, LabelFate::loses);
  }

  const DynamicRange next_;
  const Api::Status& status_;
  const LabelManagerClient& requests_;
  std::uint32_t free_;
  bool keeps_;
  LabelPlan plan_;
};

}  // namespace

std::string_view labelFateText(LabelFate fate) {
  static constexpr std::array<std::string_view, 5> texts = {"keeps", "moves", "loses", "gains",
                                                            "waits"};
  return texts.at(static_cast<std::size_t>(fate));
}

std::size_t LabelPlan::count(LabelFate fate) const {
  return static_cast<std::size_t>(
      std::count_if(steps.begin(), steps.end(), [&](const Step& s) { return s.fate == fate; }));
}

LabelPlan labelPlan(const LabelRange& next, const Api::Status& status,
                    const LabelManagerClient& requests) {
  return Planner(next, status, requests).run();
}

}  // namespace Mpls
