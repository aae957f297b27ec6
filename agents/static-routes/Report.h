/// How the agent tells what it has and what changes. One line or document at a time, flushed.
#pragma once

#include <memory>
#include <ostream>
#include <string>
#include <vector>

#include "agents/routes/ConfigLoader.h"
#include "agents/routes/MergedView.h"

namespace StaticRoutes {

/// A diagnostic of one file.
struct FileDiagnostic {
  std::string file;
  Diagnostic diagnostic;
};

class Report {
 public:
  virtual ~Report();
  /// The state after the start. The diagnostics were told by `errorIs` before.
  virtual void tableIs(const MergedView& merged, const ConfigView& config,
                       const std::vector<FileDiagnostic>& errors) = 0;
  virtual void changeIs(const Change& change) = 0;
  virtual void configIs(const ConfigView& config) = 0;
  virtual void errorIs(const FileDiagnostic& error) = 0;
  /// Something about a file that is no error.
  virtual void noticeIs(const std::string& file, const std::string& text) = 0;
};

/// Text for people, on `out`; diagnostics and notices go to `log`. The streams must outlive it.
std::unique_ptr<Report> textReport(std::ostream& out, std::ostream& log);

/// One JSON document on `out`, or one object a line when `lines`; diagnostics go to `log` too.
std::unique_ptr<Report> jsonReport(std::ostream& out, std::ostream& log, bool lines);

}  // namespace StaticRoutes
