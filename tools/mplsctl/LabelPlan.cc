/// `mplsctl label plan BASE SIZE`: what another dynamic range would do to each request. Nothing is
/// changed.
#include "mpls/labelmgr/LabelPlan.h"

#include <algorithm>
#include <array>

#include "agents/common/ExitCode.h"
#include "tools/mplsctl/Commands.h"
#include "tools/mplsctl/Errors.h"
#include "tools/mplsctl/LabelReader.h"
#include "tools/mplsctl/Output.h"

namespace MplsCtl {

namespace {

using Agents::Json;
using Mpls::LabelFate;
using Mpls::LabelPlan;

constexpr std::array fates{LabelFate::keeps, LabelFate::moves, LabelFate::loses, LabelFate::gains,
                           LabelFate::waits};

bool isHeld(const LabelPlan::Step& step) { return step.block != Mpls::LabelBlock(); }

constexpr Column columns[] = {{"client", "CLIENT"},
                              {"id", "ID"},
                              {"first", "FIRST LABEL NOW", Kind::number},
                              {"last", "LAST LABEL NOW", Kind::number},
                              {"fate", "FATE"}};
constexpr RecordType requestType{"request", columns, 2};

void tellCounts(Output& out, const LabelPlan& plan) {
  Json counts = Json::object();
  std::string text;
  for (const LabelFate fate : fates) {
    const std::string name(labelFateText(fate));
    counts[name] = plan.count(fate);
    text += (text.empty() ? "Requests: " : ", ") + std::to_string(plan.count(fate)) + " " + name;
  }
  out.fact("counts", counts, text);
}

void showSteps(Output& out, const LabelPlan& plan) {
  Record record(requestType);
  for (const LabelPlan::Step& step : plan.steps) {
    record.clear();
    record.text(step.client.view()).text(step.id.view());
    if (isHeld(step)) record.number(step.block.blockStart().value()).number(lastLabel(step.block));
    else record.none().none();
    record.text(labelFateText(step.fate));
    if (!out.add(record)) break;
  }
}

}  // namespace

RecordTypes labelPlanTypes() {
  static constexpr const RecordType* types[] = {&requestType};
  return types;
}

int labelPlan(const Options& options) {
  if (options.rangeSize > Netbase::MplsLabel::max + 1 - options.rangeBase) {
    tellError(options, ErrorCode::usage, "the range ends above label 1048575");
    return Agents::exitUsage;
  }
  Agents::Program program(options, Agents::Program::Kind::query);
  LabelReader reader(program);
  if (!reader.await(options)) return exitCodeOf(program);
  LabelPlan plan = Mpls::labelPlan(Mpls::LabelRange(options.rangeBase, options.rangeSize),
                                   reader.status(), reader.requests());
  std::ranges::sort(plan.steps, [](const auto& a, const auto& b) {
    return std::tie(a.client, a.id) < std::tie(b.client, b.id);
  });
  const LabelView view = reader.view();
  Output out(options);
  out.fact("mplsRouting", view.routing);
  if (!view.routing) out.line("MPLS routing is off: this is for when it is on");
  if (view.range) out.fact("range", rangeJson(*view.range), "Now: " + rangeText(*view.range));
  const Mpls::DynamicRange planned(plan.range);
  out.fact("planned", rangeJson(planned), "Planned: " + rangeText(planned));
  tellCounts(out, plan);
  showSteps(out, plan);
  return out.end(Agents::exitGood);
}

}  // namespace MplsCtl
