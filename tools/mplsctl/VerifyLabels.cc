#include "tools/mplsctl/VerifyLabels.h"

#include <set>

namespace MplsCtl {

namespace {

using Findings = std::set<std::string>;
using Find = Findings (*)(const LabelView& view);

std::string textOf(const LabelRequestKey& request, const Mpls::LabelBlock& block) {
  return "block " + blockText(block) + " of " + request.first + " " + request.second;
}

Findings overlaps(const LabelView& view) {
  std::vector<std::pair<Mpls::LabelBlock, LabelRequestKey>> blocks;
  for (const auto& [request, block] : view.blocks) blocks.emplace_back(block, request);
  std::ranges::sort(blocks, {}, [](const auto& one) { return one.first.blockStart(); });
  Findings found;
  for (std::size_t i = 1; i < blocks.size(); ++i) {
    const auto& [before, owner] = blocks[i - 1];
    const auto& [block, request] = blocks[i];
    if (block.blockStart().value() - before.blockStart().value() < Mpls::LabelBlock::blockSize)
      found.insert(textOf(request, block) + " overlaps " + textOf(owner, before));
  }
  return found;
}

/// Of the blocks that are not as `isRight` wants them.
template <class IsRight>
Findings wrongBlocks(const LabelView& view, const std::string& what, IsRight isRight) {
  Findings found;
  for (const auto& [request, block] : view.blocks)
    if (!view.range || !isRight(*view.range, block))
      found.insert(textOf(request, block) + " " + what +
                   (view.range ? ": " + rangeText(*view.range) : ", as there is none"));
  return found;
}

Findings offGrid(const LabelView& view) {
  return wrongBlocks(view, "is not one of the dynamic range",
                     [](const Mpls::DynamicRange& range, const Mpls::LabelBlock& block) {
                       return !range.contains(block) || range.issues(block);
                     });
}

Findings outOfRange(const LabelView& view) {
  return wrongBlocks(view, "lies outside of the dynamic range",
                     [](const Mpls::DynamicRange& range, const Mpls::LabelBlock& block) {
                       return range.contains(block);
                     });
}

/// What is found at each of several looks.
Findings lasting(const std::function<LabelView()>& view, const Pause& pause, Find find) {
  Findings found = find(view());
  for (int look = 0; look < secondLooks && !found.empty(); ++look) {
    pause();
    const Findings now = find(view());
    std::erase_if(found, [&now](const std::string& one) { return !now.contains(one); });
  }
  return found;
}

}  // namespace

void verifyLabels(const std::function<LabelView()>& view, const std::string& place,
                  const Pause& pause, const CheckSink& sink) {
  constexpr std::pair<const char*, Find> all[] = {
      {"overlap", overlaps}, {"grid", offGrid}, {"range", outOfRange}};
  for (const auto& [name, find] : all) {
    Check check(name, place);
    for (const std::string& one : lasting(view, pause, find)) check.failed(one);
    check.summaryIs(std::to_string(view().blocks.size()) + " blocks");
    sink(check);
  }
}

}  // namespace MplsCtl
