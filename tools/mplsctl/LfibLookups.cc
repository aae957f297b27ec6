/// `mplsctl lfib lookups`: the labels whose packets are looked up in a VRF, as the forwarding agent
/// publishes them.
#include <map>
#include <string>

#include "agents/common/ExitCode.h"
#include "agents/common/Paths.h"
#include "mpls/lfib/LfibIpLookupStatus.h"
#include "platform/forma/Dir.h"
#include "tools/mplsctl/Commands.h"
#include "tools/mplsctl/Output.h"
#include "tools/mplsctl/Query.h"

namespace MplsCtl {

namespace {

using LabelVrfAf = Mpls::LfibIpLookupStatusLabelVrfAf;

/// Mounts the directory, and what is in it.
class Reader {
 public:
  explicit Reader(Agents::Program& program) : program_(program) {
    program_.mount({{Agents::ipLookupDir, Forma::Dir::formaTypeName, "r"}},
                   [this] { handleDirectory(); });
  }
  bool isDone() const { return isDirectoryThere_ && pending_ == 0; }

  /// In the order of labels, with the name of the LFIB.
  std::multimap<LabelVrfAf, std::string> read() const {
    std::multimap<LabelVrfAf, std::string> all;
    for (const std::string& name : names_)
      for (const auto& one : statusOf(name)->labelVrfAfIteratorConst()) all.emplace(one.key, name);
    return all;
  }
  /// "PATH: NAME is gone since 3.2 s", a line for each.
  std::vector<std::string> gone() const {
    std::vector<std::string> lines;
    for (const std::string& name : names_) {
      const std::string path = Agents::ipLookupPath(name);
      const std::string text = Agents::ownerGoneText(program_.manager()->mountInfo(path));
      if (!text.empty()) lines.push_back(std::string(path).append(": ").append(text));
    }
    return lines;
  }

 private:
  Forma::Ptr<Mpls::LfibIpLookupStatus> statusOf(const std::string& name) const {
    return program_.entity<Mpls::LfibIpLookupStatus>(Agents::ipLookupPath(name));
  }
  void handleDirectory() {
    isDirectoryThere_ = true;
    const auto dir = program_.entity<Forma::Dir>(Agents::ipLookupDir);
    for (const auto& one : dir->entryIteratorConst()) {
      const std::string name(one.key.view());
      if (!statusOf(name)) continue;
      names_.push_back(name);
      ++pending_;
      program_.mount({{Agents::ipLookupPath(name), Mpls::LfibIpLookupStatus::formaTypeName, "r"}},
                     [this] { --pending_; });
    }
  }

  Agents::Program& program_;
  bool isDirectoryThere_ = false;
  std::size_t pending_ = 0;
  std::vector<std::string> names_;
};

constexpr Column columns[] = {
    {"label", "LABEL", Kind::number}, {"vrf", "VRF"}, {"family", "FAMILY"}, {"lfib", "LFIB"}};
constexpr RecordType lookupType{"lookup", columns, 1};

}  // namespace

RecordTypes lookupTypes() {
  static constexpr const RecordType* types[] = {&lookupType};
  return types;
}

int lfibLookups(const Options& options) {
  Agents::Program program(options, Agents::Program::Kind::query);
  Reader reader(program);
  if (!await(
          program, options, [&] { return reader.isDone(); }, "not read yet"))
    return exitCodeOf(program);
  const auto all = reader.read();
  Output out(options);
  out.line("IP lookups: " + std::to_string(all.size()));
  Record record(lookupType);
  for (const auto& [value, name] : all) {
    record.clear();
    record.number(value.label().value()).text(value.vrfName().name());
    record.text(formaEnumName(value.addressFamily())).text(name);
    if (!out.add(record)) break;
  }
  tellGone(out, reader.gone(), "labels as last published");
  return out.end(Agents::exitGood);
}

}  // namespace MplsCtl
