#include "tools/mplsctl/LdpReader.h"

#include <tuple>

#include "agents/common/ExitCode.h"
#include "agents/common/Paths.h"
#include "agents/router-bindings/Snapshot.h"
#include "platform/centrum/ServerStatus.h"
#include "platform/tarn/DirectoryStorage.h"
#include "tools/mplsctl/Labels.h"
#include "tools/mplsctl/WriterText.h"

namespace MplsCtl {

namespace {

std::string pathFor(const Options& options) {
  return options.tables.empty() ? Agents::ldpTables(options.run, options.instance) : options.tables;
}

}  // namespace

LdpReader::LdpReader(Agents::Program& program, const Options& options)
    : program_(program),
      options_(options),
      linksPath_(Agents::ldpLinkReadyPath(options.instance)),
      reports_(options),
      directory_(program.loop(), pathFor(options), reports_.of(pathFor(options))),
      tables_(Ldp::LdpTarn::ldpLabelBindingTableFactory("ldp")),
      local_(Ldp::labelBindingTableFactory("local", Ldp::LdpIdentifier())),
      peers_(Ldp::labelBindingTableCollFactory("peers")) {
  Tarn::busErrorsAreHandled();
  FormaTarn::attachReader(*tables_, directory_);
  program_.mount({{linksPath_, Ldp::LdpLinkReadyStatusVrfColl::formaTypeName, "r"}},
                 [this] { links_ = program_.entity<Ldp::LdpLinkReadyStatusVrfColl>(linksPath_); });
  program_.mount({{std::string(Centrum::statusPath), Centrum::Status::formaTypeName, "r"}},
                 [this] { hasAnswered_ = true; });
}

bool LdpReader::areAttached() const {
  const Tables& tables = *tables_;
  const auto all = std::tie(tables.localLbtTable(), tables.localLbtAdvertisedToTable(),
                            tables.localLbtFilterStateTable(), tables.peerLbtTable(),
                            tables.peerLbtFilterStateTable());
  return std::apply([](const auto&... table) { return (table.view().isAttached() && ...); }, all);
}

/// What is always there is asked for behind the links: the database has answered for both then.
bool LdpReader::areLinksSettled() const {
  return links_ || !program_.connectionProblem().empty() ||
         (hasAnswered_ &&
          program_.manager()->mountInfo(linksPath_).state == Centrum::MountState::waiting);
}

bool LdpReader::await() {
  if (!program_.await([this] { return areAttached(); }, options_.timeout)) {
    reports_.tellMissing(
        {directory_.path()},
        "no LDP tables to be read; start ldp-agent, or tell with --tables where it writes");
    return false;
  }
  reports_.attached();
  consumer_ = Ldp::LdpTarn::ldpLibConsumerSmFactory(tables_, local_, peers_);
  program_.await([this] { return areLinksSettled(); }, options_.timeout);
  return !program_.ended();
}

std::optional<LdpReader::Links> LdpReader::links() const {
  if (!links_) return std::nullopt;
  Links all;
  for (const auto& vrf : links_->readyStatusVrfIteratorConst())
    for (const auto& one : vrf.value->readyStatusIteratorConst())
      all[{std::string(vrf.key.name()), std::string(one.key.name())}] = one.value->ready();
  return all;
}

std::string LdpReader::linksGone() const {
  return links_ ? Agents::ownerGoneText(program_.manager()->mountInfo(linksPath_)) : "";
}

std::string LdpReader::writerText() const {
  return MplsCtl::writerText(directory_, std::as_const(*tables_).localLbtTable().view());
}

Agents::Json LdpReader::json() const {
  return directoryJson(directory_, std::as_const(*tables_).localLbtTable().view());
}

// ---- Bindings and text -------------------------------------------------------------------------

void eachBinding(const Ldp::LabelBindingTable& table,
                 const std::function<void(const FecBinding&)>& visit) {
  std::set<Mpls::FwdEqvClass> fecs;
  for (const auto& one : table.mplsLabelSetIteratorConst()) fecs.insert(one.key);
  for (const auto& one : table.advertisedToIteratorConst()) fecs.insert(one.key);
  for (const auto& one : table.fecFilteredStateIteratorConst()) fecs.insert(one.key);
  for (const Mpls::FwdEqvClass& fec : fecs) {
    const auto* const filter = table.fecFilteredStateFind(fec);
    visit({fec, RouterBindings::labelsOf(table, fec), RouterBindings::identifiersOf(table, fec),
           filter != nullptr ? std::optional(*filter) : std::nullopt});
  }
}

std::string labelText(Netbase::MplsLabel label) {
  return std::string(labelName(std::to_string(label.value())));
}

std::string filterText(Mpls::FecFilteredState state) {
  constexpr std::string_view prefix = "fecFilteredState";
  const std::string text = textOf(state);
  return text.starts_with(prefix) ? text.substr(prefix.size()) : text;
}

}  // namespace MplsCtl
