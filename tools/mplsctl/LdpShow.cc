/// `mplsctl ldp show`: the label bindings of the router, to whom it told them, those of its peers,
/// filters, and the links on which LDP is ready.
#include "agents/common/ExitCode.h"
#include "tools/mplsctl/Commands.h"
#include "tools/mplsctl/LdpReader.h"
#include "tools/mplsctl/Output.h"

namespace MplsCtl {

namespace {

constexpr Column localColumns[] = {{"fec", "FEC"},
                                   {"labels", "LABEL", Kind::labels},
                                   {"advertisedTo", "ADVERTISED TO", Kind::texts},
                                   {"filter", "FILTER"}};
constexpr Column peerColumns[] = {
    {"fec", "FEC"}, {"peer", "PEER"}, {"labels", "LABEL", Kind::labels}, {"filter", "FILTER"}};
constexpr Column linkColumns[] = {
    {"interface", "INTERFACE"}, {"vrf", "VRF"}, {"ready", "READY", Kind::flag}};

constexpr RecordType localType{"local", localColumns, 1};
constexpr RecordType peerType{"peer", peerColumns, 2};
constexpr RecordType linkType{"link", linkColumns, 2};

void addLabels(Record& record, const FecBinding& binding) {
  record.listBegin();
  for (const Netbase::MplsLabel label : binding.labels) record.element(label.value());
  record.listEnd();
}

void addFilter(Record& record, const FecBinding& binding) {
  record.textOrNone(binding.filter ? filterText(*binding.filter) : "");
}

void showLocal(Output& out, const LdpReader& reader) {
  out.line("Local bindings: " + std::to_string(reader.tables()->localLbts()));
  Record record(localType);
  eachBinding(reader.local(), [&](const FecBinding& one) {
    record.clear();
    record.text(textOf(one.fec));
    addLabels(record, one);
    record.listBegin();
    for (const auto& peer : one.advertised) record.element(std::string_view(textOf(peer)));
    record.listEnd();
    addFilter(record, one);
    out.add(record);
  });
}

void showPeers(Output& out, const LdpReader& reader) {
  out.line("Peer bindings: " + std::to_string(reader.tables()->peerLbts()) + " of " +
           std::to_string(reader.peers().bindingTables()) + " peers");
  Record record(peerType);
  for (const auto& peer : reader.peers().bindingTableIteratorConst())
    eachBinding(*peer.value, [&](const FecBinding& one) {
      record.clear();
      record.text(textOf(one.fec)).text(textOf(peer.key));
      addLabels(record, one);
      addFilter(record, one);
      out.add(record);
    });
}

void showLinks(Output& out, const LdpReader& reader) {
  const auto links = reader.links();
  out.fact("linksKnown", links.has_value());
  if (!links) return out.line("Links: not known, as the database does not have them");
  out.line("Links: " + std::to_string(links->size()));
  Record record(linkType);
  for (const auto& [link, ready] : *links) {
    record.clear();
    record.text(link.second).text(link.first).flag(ready);
    out.add(record);
  }
  const std::string gone = reader.linksGone();
  if (gone.empty()) return;
  out.fact("linksGone", gone);
  out.redLine("Links are as last published: " + gone);
}

}  // namespace

RecordTypes ldpTypes() {
  static constexpr const RecordType* types[] = {&localType, &peerType, &linkType};
  return types;
}

int ldpShow(const Options& options) {
  Agents::Program program(options, Agents::Program::Kind::query);
  LdpReader reader(program, options);
  if (!reader.await()) return program.ended() ? program.exitCode() : reader.exitCode();
  Output out(options);
  const Agents::Json json = reader.json();
  for (const auto& [key, value] : json.items()) out.fact(key, value);
  out.line(reader.directory().path() + ": " + reader.writerText());
  showLocal(out, reader);
  showPeers(out, reader);
  showLinks(out, reader);
  return out.end(reader.exitCode());
}

}  // namespace MplsCtl
