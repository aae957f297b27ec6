/// Reads the segment-routing tables of one or several instances, whether their writers live or not.
///
/// Thread    one.
#pragma once

#include <functional>
#include <memory>
#include <string>
#include <tuple>
#include <vector>

#include "agents/common/JsonWriter.h"
#include "mpls/tables/SegmentRoutingStatus.h"
#include "platform/kiln/EventLoop.h"
#include "platform/tarn/ReaderDirectory.h"
#include "tools/mplsctl/Options.h"
#include "tools/mplsctl/Record.h"
#include "tools/mplsctl/Selection.h"
#include "tools/mplsctl/TableReports.h"

namespace MplsCtl {

/// The tables of one instance. Rows are looked up: nothing but keys is kept.
class SrInstance {
 public:
  SrInstance(Kiln::EventLoop& loop, const std::string& path, Tarn::Report report);

  const std::string& path() const { return directory_.path(); }
  const Tarn::SegmentRouting::Status& status() const { return *status_; }
  bool isAttached() const;
  std::string writerText() const;
  /// {"directory", "writer"}
  Agents::Json json() const;

  using Visit = std::function<void(const Record& record)>;
  // Records of all rows of a kind, in the order of their keys.
  void eachBlock(const Visit& visit) const;
  void eachSegment(const Visit& visit) const;
  void eachRoute(const Visit& visit) const;

 private:
  std::tuple<Tarn::TarnMap<Netbase::Prefix, Tarn::Fib::Route>&,
             Tarn::TarnMap<Netbase::Ip6Prefix, Tarn::Fib6::Route>&,
             Tarn::TarnMap<Netbase::IpGenPrefix, Tarn::SegmentRouting::PrefixSegment>&,
             Tarn::TarnMap<Mpls::RouterId, Tarn::SegmentRouting::GlobalBlock>&>
  tables() const;

  Tarn::ReaderDirectory directory_;
  const Forma::Ptr<Tarn::SegmentRouting::Status> status_;
};

class SrReader {
 public:
  /// Looks at --tables, at that of --instance, or else at all in that of --run.
  explicit SrReader(const Options& options);

  Kiln::EventLoop& loop() { return loop_; }
  const std::vector<std::unique_ptr<SrInstance>>& instances() const { return instances_; }

  /// Waits until all are attached, as long as the options say; if that does not come, says why and
  /// what to do.
  bool await();
  /// Instances that came since.
  void lookForMore();
  /// The exit code so far: damage was met, or tables are missing, or neither.
  int exitCode() const { return reports_.exitCode(); }

  static RecordTypes types();

 private:
  void add(const std::string& path);

  const Options& options_;
  TableReports reports_;
  Kiln::EventLoop loop_;
  std::vector<std::unique_ptr<SrInstance>> instances_;
};

}  // namespace MplsCtl
