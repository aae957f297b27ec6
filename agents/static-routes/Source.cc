#include "agents/static-routes/Source.h"

#include <system_error>

#include "agents/static-routes/FileText.h"
#include "agents/static-routes/RouteLoader.h"

namespace StaticRoutes {

Source::Source(std::string name, std::string file, Forma::Ptr<Mpls::RouteConfigInput> input,
               Mpls::RouteMetric metric, bool dynamic)
    : file_(std::move(file)),
      input_(std::move(input)),
      metric_(metric),
      dynamic_(dynamic),
      config_{std::move(name), {}, {}} {}

void Source::load(bool mayWait) { apply(routeFileFromText(fileText(file_, mayWait), metric_)); }

std::string Source::reload() {
  try {
    RouteFile file = routeFileFromText(fileText(file_, false), metric_);
    if (!file.unusable) {
      apply(std::move(file));
      return {};
    }
    errors_ = std::move(file.diagnostics);
    return "not understood, its routes stay as they were";
  } catch (const std::system_error& problem) {
    if (problem.code() == std::errc::no_such_file_or_directory) {
      apply({});
      return "the file is gone, its routes are withdrawn";
    }
    errors_ = {{{}, "cannot be read: " + problem.code().message()}};
    return "its routes stay as they were";
  }
}

void Source::apply(RouteFile file) {
  routesAre(*input_, file.routes, dynamic_);
  config_.labelRanges = std::move(file.labelRanges);
  config_.disabledIntfs = std::move(file.disabledIntfs);
  errors_ = std::move(file.diagnostics);
}

}  // namespace StaticRoutes
