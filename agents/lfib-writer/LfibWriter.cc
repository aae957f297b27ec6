#include "agents/lfib-writer/LfibWriter.h"

#include "agents/common/Paths.h"

namespace LfibWriterAgent {

namespace {

std::string countsOf(const Mpls::LfibStatus& lfib) {
  return std::to_string(lfib.lfibRoutes()) + " routes, " + std::to_string(lfib.viaSets()) +
         " via sets, " + std::to_string(lfib.mplsVias()) + " vias";
}

}  // namespace

LfibWriter::LfibWriter(Agents::Program& program, const Options& options)
    : program_(program),
      directory_(program.loop(),
                 {options.lfib, options.owner, options.group, options.mode, options.name},
                 [this](const std::string& text) { handleReport(text); }),
      lfib_(Mpls::lfibStatusFactory("static")) {
  FormaTarn::attachWriter(*lfib_, directory_);
  program_.log().say("writes " + directory_.path() + ", which holds " + countsOf(*lfib_));
  program_.mount({{Agents::mergedPath, Mpls::RouteConfig::formaTypeName, "r"}},
                 [this] { handleMounts(); });
}

void LfibWriter::handleMounts() {
  sm_.emplace(lfib_, program_.entity<Mpls::RouteConfig>(Agents::mergedPath), program_.loop(),
              [this](const std::string& text) { program_.log().say(text); });
  sm_->onInitializedIs([this] { handleInitialized(); });
}

void LfibWriter::handleInitialized() {
  program_.log().say("in line with the merged routes: " + countsOf(*lfib_) + "; changed " +
                     std::to_string(sm_->writer().changes()) + " rows");
}

/// An agent that lost its directory to another is of no use: it ends by what this raises.
void LfibWriter::handleReport(const std::string& text) {
  program_.log().say(text);
  program_.loop().post([lfib = lfib_] { lfib->lfibRouteTable().mayWrite(); });
}

}  // namespace LfibWriterAgent
