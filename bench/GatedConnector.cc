#include "bench/GatedConnector.h"

#include <utility>

#include "bench/Processes.h"

namespace Bench {

class GatedStream : public Centrum::Stream {
 public:
  GatedStream(Gate& gate, std::unique_ptr<Stream> inner) : gate_(gate), inner_(std::move(inner)) {
    gate_.stream_ = this;
  }
  ~GatedStream() override { gate_.stream_ = nullptr; }

  void cut() {
    peer_ = inner_->peer();
    inner_.reset();
    gate_.loop_.post([gate = &gate_] {
      if (gate->stream_ != nullptr && !gate->stream_->inner_) gate->stream_->readable_();
    });
  }

  Received read(char* to, std::size_t size) override {
    return inner_ ? inner_->read(to, size) : Received{0, true};
  }
  std::size_t write(std::string_view bytes) override {
    return inner_ ? inner_->write(bytes) : bytes.size();
  }
  void onReadableIs(Handler handler) override {
    readable_ = handler;
    if (inner_) inner_->onReadableIs(std::move(handler));
  }
  void onWritableIs(Handler handler) override {
    if (inner_) inner_->onWritableIs(std::move(handler));
  }
  bool peerGone() const override { return !inner_ || inner_->peerGone(); }
  const Centrum::Peer& peer() const override { return inner_ ? inner_->peer() : peer_; }

 private:
  Gate& gate_;
  std::unique_ptr<Stream> inner_;  // null when cut
  Handler readable_;
  Centrum::Peer peer_;
};

class GatedConnector : public Centrum::Connector {
 public:
  GatedConnector(Gate& gate, std::unique_ptr<Connector> inner)
      : gate_(gate), inner_(std::move(inner)) {}

  std::unique_ptr<Centrum::Stream> connect() override {
    auto stream = gate_.isOpen() ? inner_->connect() : nullptr;
    if (!stream) return nullptr;
    gate_.connectedAt_ = now();
    return std::make_unique<GatedStream>(gate_, std::move(stream));
  }
  const std::string& problem() const override {
    return gate_.isOpen() ? inner_->problem() : closed_;
  }
  std::string address() const override { return inner_->address(); }

 private:
  Gate& gate_;
  std::unique_ptr<Connector> inner_;
  const std::string closed_ = "the gate is closed";
};

void Gate::close() {
  open_ = false;
  if (stream_ != nullptr) stream_->cut();
}

std::unique_ptr<Centrum::Connector> Gate::connector(std::unique_ptr<Centrum::Connector> inner) {
  return std::make_unique<GatedConnector>(*this, std::move(inner));
}

}  // namespace Bench
