/// `mplsctl ldp show`: the label bindings of the router, to whom it told them, those of its peers,
/// filters, and the links on which LDP is ready.
#include <iostream>

#include "agents/common/ExitCode.h"
#include "agents/common/Printable.h"
#include "agents/common/Table.h"
#include "tools/mplsctl/LdpReader.h"

namespace MplsCtl {

namespace {

using Agents::Json;
using Agents::printable;

std::string joined(const auto& items, auto textOfOne) {
  std::string text;
  for (const auto& one : items) text += (text.empty() ? "" : ", ") + textOfOne(one);
  return text.empty() ? "-" : text;
}

std::string labelsText(const FecBinding& binding) { return joined(binding.labels, labelText); }

std::string filterCell(const FecBinding& binding) {
  return binding.filter ? filterText(*binding.filter) : "-";
}

void printLocal(const LdpReader& reader) {
  std::cout << "Local bindings: " << reader.tables()->localLbts() << '\n';
  Agents::TableStream table(std::cout, {"FEC", "LABEL", "ADVERTISED TO", "FILTER"});
  eachBinding(reader.local(), [&](const FecBinding& one) {
    table.add({textOf(one.fec), labelsText(one),
               joined(one.advertised, [](const auto& peer) { return textOf(peer); }),
               filterCell(one)});
  });
  table.end();
}

void printPeers(const LdpReader& reader) {
  std::cout << "Peer bindings: " << reader.tables()->peerLbts() << " of "
            << reader.peers().bindingTables() << " peers\n";
  Agents::TableStream table(std::cout, {"PEER", "FEC", "LABEL", "FILTER"});
  for (const auto& peer : reader.peers().bindingTableIteratorConst())
    eachBinding(*peer.value, [&](const FecBinding& one) {
      table.add({textOf(peer.key), textOf(one.fec), labelsText(one), filterCell(one)});
    });
  table.end();
}

void printLinks(const LdpReader& reader) {
  const auto links = reader.links();
  if (!links) {
    std::cout << "Links: not known, as the database does not have them\n";
    return;
  }
  std::cout << "Links: " << links->size() << '\n';
  Agents::TableStream table(std::cout, {"INTERFACE", "VRF", "LDP"});
  for (const auto& [link, ready] : *links)
    table.add({printable(link.second), link.first.empty() ? "-" : printable(link.first),
               ready ? "ready" : "not ready"});
  table.end();
  if (const std::string gone = reader.linksGone(); !gone.empty())
    std::cout << "Links are as last published: " << printable(gone) << '\n';
}

void printText(const LdpReader& reader) {
  std::cout << printable(reader.json().at("directory").get<std::string>()) << ": "
            << printable(reader.writerText()) << '\n';
  printLocal(reader);
  printPeers(reader);
  printLinks(reader);
}

Json bindingJson(const FecBinding& binding) {
  Json json = {{"fec", textOf(binding.fec)}, {"labels", Json::array()}};
  for (const Netbase::MplsLabel label : binding.labels) json["labels"].push_back(label.value());
  if (binding.filter) json["filter"] = filterText(*binding.filter);
  return json;
}

void printJson(const LdpReader& reader) {
  Agents::JsonWriter writer(std::cout, false);
  writer.begin();
  writer.members(reader.json());
  writer.listBegin("local");
  eachBinding(reader.local(), [&](const FecBinding& one) {
    Json json = bindingJson(one);
    json["advertisedTo"] = Json::array();
    for (const auto& peer : one.advertised) json["advertisedTo"].push_back(textOf(peer));
    writer.item(json);
  });
  writer.listEnd();
  writer.listBegin("peers");
  for (const auto& peer : reader.peers().bindingTableIteratorConst())
    eachBinding(*peer.value, [&](const FecBinding& one) {
      Json json = {{"peer", textOf(peer.key)}};
      json.update(bindingJson(one));
      writer.item(json);
    });
  writer.listEnd();
  if (const auto links = reader.links())
    writer.list("links", *links, [](const auto& one) -> Json {
      return {{"interface", one.first.second}, {"vrf", one.first.first}, {"ready", one.second}};
    });
  if (const std::string gone = reader.linksGone(); !gone.empty()) writer.member("linksGone", gone);
  writer.end();
}

}  // namespace

int ldpShow(const Options& options) {
  Agents::Program program(options, Agents::Program::Kind::query);
  LdpReader reader(program, options);
  if (!reader.await()) return program.ended() ? program.exitCode() : Agents::exitDatabase;
  (options.json ? printJson : printText)(reader);
  return reader.exitCode();
}

}  // namespace MplsCtl
