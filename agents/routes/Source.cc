#include "agents/routes/Source.h"

#include <system_error>
#include <utility>

#include "agents/routes/FileText.h"
#include "agents/routes/RouteLoader.h"

namespace StaticRoutes {

Source::Source(std::string name, std::string file, Mpls::RouteMetric metric, bool dynamic)
    : file_(std::move(file)),
      metric_(metric),
      dynamic_(dynamic),
      config_{std::move(name), {}, {}} {}

void Source::load(bool mayWait) { applyText(fileText(file_, mayWait)); }

std::string Source::reload() {
  try {
    return applyText(fileText(file_, false)) ? "" : "not understood, its routes stay as they were";
  } catch (const std::system_error& problem) {
    if (problem.code() == std::errc::no_such_file_or_directory) {
      apply({});
      return "the file is gone, its routes are withdrawn";
    }
    errors_ = {{{}, "cannot be read: " + problem.code().message()}};
    return "its routes stay as they were";
  }
}

void Source::inputIs(Forma::Ptr<Mpls::RouteConfigInput> input) {
  input_ = std::move(input);
  publish();
}

/// Whether the text was understood.
bool Source::applyText(const std::string& text) {
  RouteFile file = routeFileFromText(text, metric_);
  const bool understood = !file.unusable;
  if (understood) apply(std::move(file));
  else errors_ = std::move(file.diagnostics);
  return understood;
}

void Source::apply(RouteFile file) {
  loaded_ = true;
  candidate_ = candidateFrom(name(), std::exchange(file.routes, {}), dynamic_);
  config_.labelRanges = std::move(file.labelRanges);
  config_.disabledIntfs = std::move(file.disabledIntfs);
  errors_ = std::move(file.diagnostics);
  publish();
}

/// Once there is both: something to publish, and where.
void Source::publish() {
  if (input_ && candidate_) commit(input_, std::exchange(candidate_, nullptr));
}

}  // namespace StaticRoutes
