/// `mplsctl label watch`: a line for each block that is granted, moved or withdrawn, each request
/// that begins or ends to wait, and changes of range and switch. The connection may come and go
/// meanwhile: what is the same afterwards is not told.
#include <iostream>
#include <set>
#include <string_view>

#include "agents/common/Printable.h"
#include "tools/mplsctl/LabelReader.h"

namespace MplsCtl {

namespace {

using Agents::Json;

/// Compares what there is at the end of each turn with what was there before.
class Watch {
 public:
  Watch(const LabelReader& reader, bool json)
      : reader_(reader), json_(json), before_(currentView()) {}

  const LabelView& view() const { return before_; }

  void handleTurnEnd() {
    const LabelView now = currentView();
    if (now.routing != before_.routing) handleRouting(now.routing);
    if (now.range && (!before_.range || now.range->range() != before_.range->range()))
      handleRange(*now.range);
    for (const LabelRequestKey& request : requests(before_, now)) handleRequest(request, now);
    before_ = now;
    std::cout.flush();
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

  void handleRouting(bool on) const {
    if (json_) print({{"event", "mplsRouting"}, {"on", on}});
    else std::cout << "MPLS routing is " << (on ? "on" : "off") << '\n';
  }
  void handleRange(const Mpls::DynamicRange& range) const {
    Json json = {{"event", "range"}};
    json.update(rangeJson(range));
    if (json_) print(json);
    else std::cout << "range: " << rangeText(range) << '\n';
  }
  void handleRequest(const LabelRequestKey& request, const LabelView& now) const {
    const Mpls::LabelBlock* const had = blockOf(before_, request);
    const Mpls::LabelBlock* const has = blockOf(now, request);
    if (had != nullptr && has != nullptr) {
      if (*had != *has) print("moved", request, has, had);
    } else if (has != nullptr) {
      print("granted", request, has, nullptr);
    } else if (had != nullptr) {
      print("withdrawn", request, nullptr, had);
    }
    const bool waited = before_.waits.contains(request);
    const bool waits = now.waits.contains(request);
    if (waits && !waited) print("waits", request, nullptr, nullptr);
    if (waited && !waits && has == nullptr) print("ended", request, nullptr, nullptr);
  }
  static const Mpls::LabelBlock* blockOf(const LabelView& view, const LabelRequestKey& request) {
    const auto found = view.blocks.find(request);
    return found == view.blocks.end() ? nullptr : &found->second;
  }

  static void print(const Json& json) { std::cout << Agents::jsonText(json) << '\n'; }
  void print(std::string_view event, const LabelRequestKey& request, const Mpls::LabelBlock* has,
             const Mpls::LabelBlock* had) const {
    const Mpls::LabelBlock* const block = has != nullptr ? has : had;
    const bool moved = has != nullptr && had != nullptr;
    if (json_) {
      Json json = {{"event", event}};
      json.update(requestJson(request));
      if (block != nullptr) json.update(blockJson(*block));
      if (moved) json["from"] = blockJson(*had);
      return print(json);
    }
    std::cout << event << ": client " << Agents::printable(request.first) << " ID "
              << Agents::printable(request.second);
    if (block != nullptr)
      std::cout << " labels " << (moved ? blockText(*had) + " to " : "") << blockText(*block);
    std::cout << '\n';
  }

  const LabelReader& reader_;
  const bool json_;
  LabelView before_;
};

}  // namespace

int labelWatch(const Options& options) {
  Agents::Program program(options, Agents::Program::Kind::follower);
  LabelReader reader(program);
  if (!reader.await(options)) return exitCodeOf(program);
  Watch watch(reader, options.json);
  program.log().say("watching " + std::to_string(watch.view().blocks.size()) + " blocks, " +
                    std::to_string(watch.view().waits.size()) + " requests that wait");
  const auto id = program.loop().turnEndIs([&] { watch.handleTurnEnd(); });
  const int exitCode = program.run();
  program.loop().turnEndDel(id);
  return exitCode;
}

}  // namespace MplsCtl
