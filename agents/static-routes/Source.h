/// One source of static routes: a file, and the input that publishes its routes.
///
/// Thread    that of the input.
#pragma once

#include <string>
#include <vector>

#include "agents/static-routes/ConfigLoader.h"
#include "agents/static-routes/Report.h"
#include "mpls/entities/RouteConfig.h"

namespace StaticRoutes {

class Source {
 public:
  /// Does not load yet. Routes get that metric; those of a dynamic source are marked so.
  Source(std::string name, std::string file, Forma::Ptr<Mpls::RouteConfigInput> input,
         Mpls::RouteMetric metric, bool dynamic);

  /// Loads the file, `mayWait` as for fileText. Raises std::system_error when it cannot be read;
  /// nothing has changed then.
  void load(bool mayWait);
  /// Loads the file again. One that is gone has no routes; one that cannot be read, or not be
  /// understood as a whole, leaves the routes as they are. Returns what there is to say about that,
  /// or an empty text.
  std::string reload();

  const std::string& file() const { return file_; }
  const Forma::Ptr<Mpls::RouteConfigInput>& input() const { return input_; }
  /// What the file says beside routes.
  const ConfigSource& config() const { return config_; }
  /// What was wrong with the file when it was last loaded.
  const std::vector<Diagnostic>& errors() const { return errors_; }

 private:
  void apply(RouteFile file);

  std::string file_;
  Forma::Ptr<Mpls::RouteConfigInput> input_;
  Mpls::RouteMetric metric_;
  bool dynamic_;
  ConfigSource config_;
  std::vector<Diagnostic> errors_;
};

}  // namespace StaticRoutes
