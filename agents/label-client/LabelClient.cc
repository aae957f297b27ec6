#include "agents/label-client/LabelClient.h"

#include <signal.h>

#include <iostream>
#include <utility>

#include "agents/common/ExitCode.h"
#include "agents/common/Paths.h"
#include "agents/common/Printable.h"

namespace LabelClientAgent {

namespace {

const Mpls::LabelBlock noBlock;

std::uint32_t firstOf(const Mpls::LabelBlock& block) { return block.blockStart().value(); }
std::uint32_t lastOf(const Mpls::LabelBlock& block) {
  return firstOf(block) + Mpls::LabelBlock::blockSize - 1;
}

std::string textOf(const Mpls::LabelBlock& block) {
  return std::to_string(firstOf(block)) + "-" + std::to_string(lastOf(block));
}

Agents::Json jsonOf(const Mpls::LabelBlock& block) {
  return {{"first", firstOf(block)}, {"last", lastOf(block)}};
}

}  // namespace

LabelClient::LabelClient(Agents::Program& program, const Options& options)
    : program_(program),
      options_(options),
      name_(options.client),
      statusReactor_(*this),
      blockReactor_(*this),
      turnEnd_(program_.loop().turnEndIs([this] { tellChanges(); })) {
  for (const int signo : {SIGINT, SIGTERM})
    program_.loop().signalIs(signo, [this](int) { handleSignal(); });
  program_.mount(
      {{Agents::labelRequestPath(options_.client), Mpls::ClientLabelRequest::formaTypeName, "w"}},
      [this] { publish(); });
  if (!options_.withdraw)  // the requests do not wait for somebody to serve them
    program_.mount({{Agents::apiStatusPath, Mpls::Api::Status::formaTypeName, "r"}},
                   [this] { handleStatus(); });
}

LabelClient::~LabelClient() { program_.loop().turnEndDel(turnEnd_); }

void LabelClient::publish() {
  if (program_.ended()) return;
  requests_ = program_.entity<Mpls::ClientLabelRequest>(Agents::labelRequestPath(options_.client));
  for (const auto& one : requests_->labelRequestIteratorConst())
    if (!options_.ids.contains(std::string(one.key))) requests_->labelRequestDel(one.key);
  for (const std::string& id : options_.ids)
    requests_->labelRequestIs(Mpls::LabelRequest(Forma::String8(id)));
  program_.log().info("asks for blocks", {{"blocks", options_.ids.size()},
                                          {"path", Agents::labelRequestPath(options_.client)}});
  changed_ = !!status_;
}

void LabelClient::handleStatus() {
  status_ = program_.entity<Mpls::Api::Status>(Agents::apiStatusPath);
  statusReactor_.notifierIs(status_);
  handleAllocation(name_);
}

void LabelClient::handleAllocation(const Forma::Name& name) {
  if (name != name_) return;
  blockReactor_.notifierIs(status_->labelBlockAllocation(name));
  changed_ = true;
}

/// That the blocks go then is what was asked for: nothing to be told.
void LabelClient::handleSignal() {
  statusReactor_.notifierIs(nullptr);
  blockReactor_.notifierIs(nullptr);
  if (requests_) requests_->labelRequestDelAll();
  if (requests_ && !program_.manager()->connected())
    program_.log().warning("centrum is away: the blocks stay given, until --withdraw");
  program_.end(Agents::exitGood);
}

/// Whatever happened in the turn, it is the difference that counts.
void LabelClient::tellChanges() {
  if (!requests_ || !std::exchange(changed_, false)) return;
  const Mpls::LabelBlockAllocation* const blocks = status_->labelBlockAllocationFind(name_);
  for (const std::string& id : options_.ids) {
    const Mpls::LabelBlock now = blocks != nullptr ? blocks->block(Forma::Name(id)) : noBlock;
    const Mpls::LabelBlock before = std::exchange(told_[id], now);
    if (now != before) tellBlock(id, before, now);
  }
  std::cout.flush();
  tellWaiting();
}

void LabelClient::tellBlock(const std::string& id, Mpls::LabelBlock before,
                            Mpls::LabelBlock now) const {
  const char* const event = before == noBlock ? "granted" : now == noBlock ? "withdrawn" : "moved";
  const Mpls::LabelBlock block = now == noBlock ? before : now;
  const bool moved = before != noBlock && now != noBlock;
  if (options_.json) {
    Agents::Json json = {{"event", event}, {"id", id}};
    json.update(jsonOf(block));
    if (moved) json["from"] = jsonOf(before);
    std::cout << Agents::jsonText(json) << '\n';
  } else {
    std::cout << event << ": " << Agents::printable(id) << " labels "
              << (moved ? textOf(before) + " to " : "") << textOf(block) << '\n';
  }
}

void LabelClient::tellWaiting() {
  std::size_t held = 0;
  for (const auto& one : told_) held += one.second != noBlock;
  if (std::exchange(toldHeld_, held) == held) return;
  const char* const text = held < options_.ids.size() ? "waits for blocks" : "holds all blocks";
  program_.log().info(text, {{"held", held}, {"wanted", options_.ids.size()}});
}

}  // namespace LabelClientAgent
