#include "agents/lfib-writer/LfibWriter.h"

#include <set>
#include <stdexcept>
#include <system_error>

#include "agents/common/Paths.h"
#include "agents/routes/FileText.h"

namespace LfibWriterAgent {

namespace {

/// Attaches before anybody looks at the rows.
Forma::Ptr<Mpls::LfibStatus> attached(Tarn::WriterDirectory& directory) {
  auto lfib = Mpls::lfibStatusFactory("static");
  FormaTarn::attachWriter(*lfib, directory);
  return lfib;
}

std::string countsOf(const Mpls::LfibStatus& lfib) {
  return std::to_string(lfib.lfibRoutes()) + " routes, " + std::to_string(lfib.viaSets()) +
         " via sets, " + std::to_string(lfib.mplsVias()) + " vias";
}

}  // namespace

LfibWriter::LfibWriter(Agents::Program& program, const Options& options)
    : program_(program),
      directory_(program.loop(),
                 {options.lfib, options.tables.owner, options.tables.group, options.tables.mode,
                  options.name},
                 [this](const std::string& text) { handleReport(text); }),
      lfib_(attached(directory_)),
      viasPath_(options.vias),
      vias_(lfib_, program.loop(), [this](const std::string& text) { program_.log().say(text); }) {
  program_.log().say("writes " + directory_.path() + ", which holds " + countsOf(*lfib_));
  loadVias();
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

// ---- The file of vias --------------------------------------------------------------------------

/// Watches first, so that what changes while we load is seen. Without a file there are none.
void LfibWriter::loadVias() {
  if (viasPath_.empty()) return vias_.wantedIs({});
  watcher_ = std::make_unique<StaticRoutes::FileWatcher>(
      program_.loop(), std::vector{viasPath_},
      [this](const std::set<std::size_t>& /*files*/) { reloadVias(); });
  try {
    viasAre(StaticRoutes::fileText(viasPath_, true));
  } catch (const std::system_error& problem) {
    throw std::runtime_error(viasPath_ + ": cannot be read: " + problem.code().message());
  }
}

void LfibWriter::reloadVias() {
  try {
    viasAre(StaticRoutes::fileText(viasPath_, false));
  } catch (const std::system_error& problem) {
    if (problem.code() != std::errc::no_such_file_or_directory)
      return program_.log().line(viasPath_ + ": cannot be read: " + problem.code().message() +
                                 "; its labels stay as they were");
    vias_.wantedIs({});
    program_.log().line(viasPath_ + ": the file is gone, its labels are withdrawn");
  }
}

void LfibWriter::viasAre(const std::string& text) {
  ViaFile file = viaFileFromText(text);
  for (const StaticRoutes::Diagnostic& one : file.errors)
    program_.log().line(lineOf(viasPath_, one));
  if (!file.errors.empty())
    return program_.log().line(viasPath_ + ": has errors, its labels stay as they were");
  vias_.wantedIs(std::move(file));
  program_.log().say("writes " + vias_.counts() + " of " + viasPath_);
}

}  // namespace LfibWriterAgent
