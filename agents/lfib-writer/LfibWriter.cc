#include "agents/lfib-writer/LfibWriter.h"

#include <set>
#include <stdexcept>
#include <system_error>

#include "agents/common/Paths.h"
#include "agents/common/TableDirectory.h"
#include "agents/routes/FileText.h"

namespace LfibWriterAgent {

namespace {

Agents::LogFields countsOf(const Mpls::LfibStatus& lfib) {
  return {{"routes", lfib.lfibRoutes()}, {"viaSets", lfib.viaSets()}, {"vias", lfib.mplsVias()}};
}

}  // namespace

LfibWriter::LfibWriter(Agents::Program& program, const Options& options)
    : program_(program),
      directory_(program.loop(), Agents::directoryOptions(options, options.tables, options.lfib),
                 [this](const std::string& text) { handleReport(text); }),
      lfib_(Agents::attached(Mpls::lfibStatusFactory("static"), directory_)),
      viasPath_(options.vias),
      vias_(lfib_, program.loop(),
            [this](const std::string& text) { program_.log().warning(text); }) {
  Agents::LogFields found = countsOf(*lfib_);
  found.insert(found.begin(), {"lfib", directory_.path()});
  program_.log().info("writes tables", found);
  loadVias();
  program_.mount({{Agents::mergedPath, Mpls::RouteConfig::formaTypeName, "r"}},
                 [this] { handleMounts(); });
}

void LfibWriter::handleMounts() {
  sm_.emplace(lfib_, program_.entity<Mpls::RouteConfig>(Agents::mergedPath), program_.loop(),
              [this](const std::string& text) { program_.log().warning(text); });
  sm_->onInitializedIs([this] { handleInitialized(); });
}

void LfibWriter::handleInitialized() {
  Agents::LogFields counts = countsOf(*lfib_);
  counts.emplace_back("changedRows", sm_->writer().changes());
  program_.log().info("in line with the merged routes", counts);
}

/// An agent that lost its directory to another is of no use: it ends by what this raises.
void LfibWriter::handleReport(const std::string& text) {
  program_.log().warning(text);
  program_.loop().post([lfib = lfib_] { lfib->lfibRouteTable().mayWrite(); });
}

// ---- The file of vias --------------------------------------------------------------------------

/// Watches first, so that what changes while we load is seen. Without a file there are none.
void LfibWriter::loadVias() {
  if (viasPath_.empty()) return vias_.wantedIs({});
  watcher_ = std::make_unique<StaticRoutes::FileWatcher>(
      program_.loop(), std::vector{viasPath_},
      [this](const std::set<std::size_t>& /*files*/) { reloadVias(); });
  program_.onReloadIs([this] { reloadVias(); });
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
      return program_.log().warning(viasPath_ + ": cannot be read: " + problem.code().message() +
                                    "; its labels stay as they were");
    vias_.wantedIs({});
    program_.log().warning(viasPath_ + ": the file is gone, its labels are withdrawn");
  }
}

void LfibWriter::viasAre(const std::string& text) {
  ViaFile file = viaFileFromText(text);
  for (const StaticRoutes::Diagnostic& one : file.errors)
    program_.log().warning(lineOf(viasPath_, one));
  if (!file.errors.empty())
    return program_.log().warning(viasPath_ + ": has errors, its labels stay as they were");
  vias_.wantedIs(std::move(file));
  program_.log().info("writes the labels of a file", {{"file", viasPath_},
                                                      {"ipLookups", vias_.ipLookups()},
                                                      {"pseudowireLabels", vias_.pseudowires()},
                                                      {"tags", vias_.tags()}});
}

}  // namespace LfibWriterAgent
