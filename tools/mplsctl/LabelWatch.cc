/// `mplsctl label watch`: a line for each block that is granted, moved or withdrawn, each request
/// that begins or ends to wait, and changes of range and switch. The connection may come and go
/// meanwhile: what is the same afterwards is not told.
#include <set>

#include "tools/mplsctl/Errors.h"
#include "tools/mplsctl/LabelRecords.h"
#include "tools/mplsctl/WatchOutput.h"

namespace MplsCtl {

namespace {

/// Compares what there is at the end of each turn with what was there before.
class Watch {
 public:
  Watch(const LabelReader& reader, const Options& options)
      : reader_(reader), out_(options), before_(currentView()) {
    fillRecord(range_, before_);
    out_.initial(range_);
    for (const auto& [request, block] : before_.blocks) {
      fillRecord(block_, request, block, before_);
      out_.initial(block_);
    }
    for (const auto& [request, seconds] : before_.waits) {
      fillRecord(wait_, request, seconds);
      out_.initial(wait_);
    }
    out_.sync();
  }

  const LabelView& view() const { return before_; }

  void handleTurnEnd() {
    const LabelView now = currentView();
    if (now.routing != before_.routing)
      tellRange(now, std::string("MPLS routing is ") + (now.routing ? "on" : "off"));
    if (now.range && (!before_.range || now.range->range() != before_.range->range()))
      tellRange(now, "range: " + rangeText(*now.range));
    for (const LabelRequestKey& request : requests(before_, now)) handleRequest(request, now);
    before_ = now;
    out_.flush();
  }

 private:
  /// Requests and blocks come from different processes. So only those wait that the label manager
  /// has seen: what is served at once never did.
  LabelView currentView() const {
    LabelView view = reader_.view();
    std::erase_if(view.waits, [](const auto& one) { return !one.second; });
    return view;
  }
  static std::set<LabelRequestKey> requests(const LabelView& before, const LabelView& now) {
    std::set<LabelRequestKey> all;
    for (const LabelView* view : {&before, &now}) {
      for (const auto& one : view->blocks) all.insert(one.first);
      for (const auto& one : view->waits) all.insert(one.first);
    }
    return all;
  }

  void tellRange(const LabelView& now, const std::string& line) {
    fillRecord(range_, now);
    out_.changed("changed", range_, line);
  }
  void handleRequest(const LabelRequestKey& request, const LabelView& now) {
    const Mpls::LabelBlock* const had = blockOf(before_, request);
    const Mpls::LabelBlock* const has = blockOf(now, request);
    if (has != nullptr && (had == nullptr || *had != *has)) tellBlock(request, *has, had, now);
    if (had != nullptr && has == nullptr) {
      fillRecord(block_, request, *had, before_);
      out_.removed("withdrawn", block_,
                   "withdrawn: " + nameOf(request) + " labels " + blockText(*had));
    }
    const bool waited = before_.waits.contains(request);
    const bool waits = now.waits.contains(request);
    if (waits == waited) return;
    fillRecord(wait_, request, waits ? now.waits.at(request) : std::nullopt);
    if (waits) out_.changed("waits", wait_, "waits: " + nameOf(request));
    else if (has == nullptr) out_.removed("ended", wait_, "ended: " + nameOf(request));
    else out_.forget(wait_);
  }
  void tellBlock(const LabelRequestKey& request, const Mpls::LabelBlock& has,
                 const Mpls::LabelBlock* had, const LabelView& now) {
    fillRecord(block_, request, has, now);
    const std::string op = had != nullptr ? "moved" : "granted";
    out_.changed(op, block_,
                 op + ": " + nameOf(request) + " labels " +
                     (had != nullptr ? blockText(*had) + " to " : "") + blockText(has));
  }
  static std::string nameOf(const LabelRequestKey& request) {
    return "client " + request.first + " ID " + request.second;
  }
  static const Mpls::LabelBlock* blockOf(const LabelView& view, const LabelRequestKey& request) {
    const auto found = view.blocks.find(request);
    return found == view.blocks.end() ? nullptr : &found->second;
  }

  const LabelReader& reader_;
  WatchOutput out_;
  Record range_{labelRangeType};
  Record block_{labelBlockType};
  Record wait_{labelWaitType};
  LabelView before_;
};

}  // namespace

int labelWatch(const Options& options) {
  Agents::Program program(options, Agents::Program::Kind::follower);
  LabelReader reader(program);
  if (!reader.await(options)) return exitCodeOf(program);
  Watch watch(reader, options);
  tellInfo(options, "watching " + std::to_string(watch.view().blocks.size()) + " blocks, " +
                        std::to_string(watch.view().waits.size()) + " requests that wait");
  const auto id = program.loop().turnEndIs([&] { watch.handleTurnEnd(); });
  const int exitCode = follow(program);
  program.loop().turnEndDel(id);
  return exitCode;
}

}  // namespace MplsCtl
