#include "agents/routes/ConfigLoader.h"

namespace StaticRoutes {

namespace {

const RouteFile::Range* rangeOf(const ConfigSource& source, const std::string& name) {
  const auto found = source.labelRanges.find(name);
  return found == source.labelRanges.end() ? nullptr : &found->second;
}

std::string textOf(const Mpls::LabelRange& range) {
  return std::to_string(range.base().value()) + "-" +
         std::to_string(range.base().value() + range.size() - 1);
}

Diagnostic conflict(const std::string& name, const RouteFile::Range& range,
                    const ConfigSource& other, const RouteFile::Range& first) {
  return {range.place, "expected the label range " + name + " to be " + textOf(first.range) +
                           " as in the input " + other.name + ", found " + textOf(range.range)};
}

}  // namespace

ConfigView viewOf(const std::vector<const ConfigSource*>& sources) {
  ConfigView view;
  for (const ConfigSource* source : sources) {
    for (const auto& [name, range] : source->labelRanges)
      view.labelRanges.emplace(name, range.range);
    view.disabledIntfs.insert(source->disabledIntfs.begin(), source->disabledIntfs.end());
  }
  return view;
}

std::vector<Diagnostic> rangeConflicts(const std::vector<const ConfigSource*>& sources,
                                       const ConfigSource& source) {
  std::vector<Diagnostic> conflicts;
  for (const auto& [name, range] : source.labelRanges) {
    for (const ConfigSource* other : sources) {
      if (other == &source) break;
      const RouteFile::Range* const first = rangeOf(*other, name);
      if (first == nullptr) continue;
      if (first->range != range.range) conflicts.push_back(conflict(name, range, *other, *first));
      break;
    }
  }
  return conflicts;
}

void configIs(Mpls::Config& config, const ConfigView& view) {
  for (const auto& one : config.labelRangeIteratorConst())
    if (!view.labelRanges.contains(std::string(one.key.view()))) config.labelRangeDel(one.key);
  for (const auto& [name, range] : view.labelRanges) config.labelRangeIs(Forma::Name(name), range);
  for (const auto& one : config.mplsRoutingDisabledIntfIteratorConst())
    if (!view.disabledIntfs.contains(one.key)) config.mplsRoutingDisabledIntfDel(one.key);
  for (const Netbase::IntfId& intf : view.disabledIntfs)
    config.mplsRoutingDisabledIntfIs(intf, true);
}

}  // namespace StaticRoutes
