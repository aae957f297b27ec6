/// One source of static routes: a file, and the input that publishes its routes.
///
/// Thread    that of the input.
#pragma once

#include <string>
#include <vector>

#include "agents/routes/ConfigLoader.h"
#include "mpls/entities/RouteConfig.h"

namespace StaticRoutes {

class Source {
 public:
  /// Does not load yet. Routes get that metric; those of a dynamic source are marked so.
  Source(std::string name, std::string file, Mpls::RouteMetric metric, bool dynamic);

  /// Loads the file, `mayWait` as for fileText; one that is not understood as a whole counts as if
  /// it had not been loaded. Raises std::system_error when it cannot be read; nothing has changed
  /// then.
  void load(bool mayWait);
  /// Loads the file again. One that is gone has no routes; one that cannot be read, or not be
  /// understood as a whole, leaves the routes as they are. Returns what there is to say about that,
  /// or an empty text.
  std::string reload();
  /// States nothing from now on.
  void clear() { apply({}); }

  const std::string& name() const { return config_.name; }
  const std::string& file() const { return file_; }
  const Forma::Ptr<Mpls::RouteConfigInput>& input() const { return input_; }
  /// Publishes the routes there from now on, those that were loaded before included. As each load
  /// then, raises std::runtime_error when not all of them could be written.
  void inputIs(Forma::Ptr<Mpls::RouteConfigInput> input);
  /// What the file says beside routes.
  const ConfigSource& config() const { return config_; }
  /// What was wrong with the file when it was last loaded.
  const std::vector<Diagnostic>& errors() const { return errors_; }
  /// Whether anything was loaded so far: until then, what is published stays.
  bool loaded() const { return loaded_; }

 private:
  bool applyText(const std::string& text);
  void apply(RouteFile file);
  void publish();

  std::string file_;
  Forma::Ptr<Mpls::RouteConfigInput> input_;
  Mpls::RouteMetric metric_;
  bool dynamic_;
  bool loaded_ = false;
  Forma::Ptr<Mpls::RouteConfigInput> candidate_;  // what was loaded and is not published yet
  ConfigSource config_;
  std::vector<Diagnostic> errors_;
};

}  // namespace StaticRoutes
