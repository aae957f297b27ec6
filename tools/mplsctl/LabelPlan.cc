/// `mplsctl label plan BASE SIZE`: what another dynamic range would do to each request. Nothing is
/// changed.
#include "mpls/labelmgr/LabelPlan.h"

#include <algorithm>
#include <array>
#include <iostream>

#include "agents/common/ExitCode.h"
#include "agents/common/Printable.h"
#include "agents/common/Table.h"
#include "tools/mplsctl/LabelReader.h"

namespace MplsCtl {

namespace {

using Agents::Json;
using Mpls::LabelFate;
using Mpls::LabelPlan;

constexpr std::array fates{LabelFate::keeps, LabelFate::moves, LabelFate::loses, LabelFate::gains,
                           LabelFate::waits};

bool isHeld(const LabelPlan::Step& step) { return step.block != Mpls::LabelBlock(); }

void printText(const LabelPlan& plan, const LabelView& view) {
  if (!view.routing) std::cout << "MPLS routing is off: this is for when it is on\n";
  if (view.range) std::cout << "Now: " << rangeText(*view.range) << '\n';
  std::cout << "Planned: " << rangeText(Mpls::DynamicRange(plan.range)) << '\n';
  std::string separator = "Requests: ";
  for (const LabelFate fate : fates)
    std::cout << std::exchange(separator, ", ") << plan.count(fate) << ' ' << labelFateText(fate);
  std::cout << '\n';
  if (plan.steps.empty()) return;
  Agents::TableStream table(std::cout, {"CLIENT", "ID", "LABELS NOW", "FATE"});
  for (const LabelPlan::Step& step : plan.steps)
    table.add({Agents::printable(step.client.view()), Agents::printable(step.id.view()),
               isHeld(step) ? blockText(step.block) : "-", std::string(labelFateText(step.fate))});
  table.end();
}

void printJson(const LabelPlan& plan, const LabelView& view) {
  Agents::JsonWriter writer(std::cout, false);
  writer.begin();
  writer.member("mplsRouting", view.routing);
  if (view.range) writer.member("range", rangeJson(*view.range));
  writer.member("planned", rangeJson(Mpls::DynamicRange(plan.range)));
  Json counts = Json::object();
  for (const LabelFate fate : fates) counts[std::string(labelFateText(fate))] = plan.count(fate);
  writer.member("counts", counts);
  writer.list("requests", plan.steps, [](const LabelPlan::Step& step) {
    Json json = requestJson({std::string(step.client.view()), std::string(step.id.view())});
    if (isHeld(step)) json.update(blockJson(step.block));
    json["fate"] = labelFateText(step.fate);
    return json;
  });
  writer.end();
}

}  // namespace

int labelPlan(const Options& options) {
  Agents::Program program(options, Agents::Program::Kind::query);
  if (options.rangeSize > Netbase::MplsLabel::max + 1 - options.rangeBase) {
    program.log().say("the range ends above label 1048575");
    return Agents::exitUsage;
  }
  LabelReader reader(program);
  if (!reader.await(options)) return exitCodeOf(program);
  LabelPlan plan = Mpls::labelPlan(Mpls::LabelRange(options.rangeBase, options.rangeSize),
                                   reader.status(), reader.requests());
  std::ranges::sort(plan.steps, [](const auto& a, const auto& b) {
    return std::tie(a.client, a.id) < std::tie(b.client, b.id);
  });
  (options.json ? printJson : printText)(plan, reader.view());
  return Agents::exitGood;
}

}  // namespace MplsCtl
