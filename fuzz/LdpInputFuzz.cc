/// Reads any bytes as a line of a recorded LDP router, as its state, or as a file of bindings. What
/// comes out obeys the bounds of the formats; what is wrong says where.
#include "agents/ldp-agent/Recording.h"

#include "agents/replay/LineReader.h"
#include "agents/router-bindings/BindingFile.h"
#include "agents/router-bindings/StateFile.h"
#include "fuzz/Check.h"

namespace {

using namespace LdpAgent;

void requireReal(Netbase::MplsLabel label) { require(label <= Netbase::MplsLabel::max); }

void check(const Message& message) {
  const auto* const labels = std::get_if<LabelMessage>(&message);
  if (labels == nullptr) return;
  if (labels->label) requireReal(*labels->label);
  if (labels->kind != LabelMessage::Kind::mapping) return;
  require(labels->label.has_value());
  for (const FecElement& one : labels->fecs) require(one.fec && one.fec->prefix().isSet());
}

void check(const RouterBindings::Snapshot& snapshot) {
  for (const auto& [fec, labels] : snapshot.local) {
    require(fec.prefix().isSet() && !labels.empty());
    for (const auto& label : labels) requireReal(label);
  }
  for (const auto& [peer, all] : snapshot.peers) {
    require(!all.empty());
    for (const auto& [fec, labels] : all)
      for (const auto& label : labels) requireReal(label);
  }
}

/// What is refused is refused with its place.
void guarded(auto read) {
  try {
    read();
  } catch (const Replay::InputError& problem) {
    require(std::string_view(problem.what()).starts_with("input: "));
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  guarded([&] {
    const Replay::Document document(textOf(data, size), "input");
    const Replay::Node node = document.node();
    guarded([&] {
      for (const Event& event : eventsFrom(node))
        if (const auto* const received = std::get_if<Received>(&event)) check(received->message);
    });
    guarded([&] {
      if (const auto sent = sentFrom(node)) check(sent->message);
    });
    guarded([&] { check(RouterBindings::stateFrom(node)); });
    guarded([&] {
      const RouterBindings::BindingFile file = RouterBindings::bindingFileFrom(node);
      check(file.snapshot);
      for (const RouterBindings::Use& use : file.uses)
        require(file.snapshot.local.contains(use.fec) &&
                file.snapshot.peers.contains(use.neighbor));
    });
  });
  return 0;
}
