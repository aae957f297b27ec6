#include "tools/mplsctl/LabelReader.h"

#include "agents/common/Paths.h"
#include "tools/mplsctl/Ages.h"

namespace MplsCtl {

namespace {

std::string stringOf(const Forma::Name& name) { return std::string(name.view()); }

}  // namespace

LabelReader::LabelReader(Agents::Program& program)
    : program_(program),
      dirReactor_(*this),
      requests_(Mpls::labelManagerClientFactory(Forma::Name("client"))) {
  program_.mount({{Agents::configPath, Mpls::Config::formaTypeName, "r"},
                  {Agents::apiStatusPath, Mpls::Api::Status::formaTypeName, "r"},
                  {Agents::labelWaitPath, Mpls::WaitingLabelRequests::formaTypeName, "r"},
                  {Agents::labelRequestDir, Forma::Dir::formaTypeName, "r"}},
                 [this] { handleMounts(); });
}

void LabelReader::handleMounts() {
  config_ = program_.entity<Mpls::Config>(Agents::configPath);
  status_ = program_.entity<Mpls::Api::Status>(Agents::apiStatusPath);
  waiting_ = program_.entity<Mpls::WaitingLabelRequests>(Agents::labelWaitPath);
  const auto directory = program_.entity<Forma::Dir>(Agents::labelRequestDir);
  dirReactor_.notifierIs(directory);
  for (const auto& one : directory->entryIteratorConst()) handleClient(one.key);
}

void LabelReader::handleClient(const Forma::Name& name) {
  const std::string path = Agents::labelRequestPath(stringOf(name));
  if (!program_.entity<Mpls::ClientLabelRequest>(path)) return requests_->requestDel(name);
  ++pendingClients_;
  program_.mount({{path, Mpls::ClientLabelRequest::formaTypeName, "r"}}, [this, name, path] {
    --pendingClients_;
    const auto request = program_.entity<Mpls::ClientLabelRequest>(path);
    if (request) requests_->requestIs(name, request);
  });
}

bool LabelReader::await(const Options& options) {
  return MplsCtl::await(
      program_, options, [this] { return status_ && pendingClients_ == 0; },
      "not read yet; try a longer --timeout");
}

std::optional<double> LabelReader::waitOf(const Forma::Name& client, const Forma::Name& id) const {
  const Forma::Ptr<Mpls::ClientWaitingRequests> noted = waiting_->client(client);
  const std::uint64_t* const since = noted ? noted->sinceFind(id) : nullptr;
  return since == nullptr ? std::nullopt : std::optional(secondsSince(*since));
}

LabelView LabelReader::view() const {
  LabelView view{config_->mplsRouting(), {}, {}, {}};
  const Mpls::LabelRange range = status_->dynamicLabelRange();
  if (range != Mpls::LabelRange()) view.range = Mpls::DynamicRange(range);
  for (const auto& one : status_->labelBlockAllocationIteratorConst())
    for (const auto& held : one.value->blockIteratorConst())
      view.blocks[{stringOf(one.key), stringOf(held.key)}] = held.value;
  for (const auto& one : requests_->requestIteratorConst())
    for (const auto& open : one.value->labelRequestIteratorConst()) {
      const Forma::Name id(open.key);
      const LabelRequestKey request(stringOf(one.key), stringOf(id));
      if (!view.blocks.contains(request)) view.waits[request] = waitOf(one.key, id);
    }
  return view;
}

std::vector<std::string> LabelReader::gone() const {
  std::vector<std::string> paths{Agents::configPath, Agents::apiStatusPath};
  for (const auto& one : requests_->requestIteratorConst())
    paths.push_back(Agents::labelRequestPath(stringOf(one.key)));
  std::vector<std::string> lines;
  for (const std::string& path : paths) {
    const std::string text = Agents::ownerGoneText(program_.manager()->mountInfo(path));
    if (!text.empty()) lines.emplace_back(path).append(": ").append(text);
  }
  return lines;
}

std::uint32_t lastLabel(const Mpls::LabelBlock& block) {
  return block.blockStart().value() + Mpls::LabelBlock::blockSize - 1;
}

Agents::Json requestJson(const LabelRequestKey& request) {
  return {{"client", request.first}, {"id", request.second}};
}

Agents::Json blockJson(const Mpls::LabelBlock& block) {
  return {{"first", block.blockStart().value()}, {"last", lastLabel(block)}};
}

Agents::Json rangeJson(const Mpls::DynamicRange& range) {
  return {{"base", range.base()}, {"size", range.range().size()}, {"blocks", range.blocks()}};
}

std::string blockText(const Mpls::LabelBlock& block) {
  return std::to_string(block.blockStart().value()) + "-" + std::to_string(lastLabel(block));
}

std::string rangeText(const Mpls::DynamicRange& range) {
  return "base " + std::to_string(range.base()) + " size " + std::to_string(range.range().size()) +
         ", " + std::to_string(range.blocks()) + " blocks";
}

}  // namespace MplsCtl
