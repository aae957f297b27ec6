/// The connection of a client to the server: made again whenever it is lost; frames in and out;
/// signs of life.
///
/// Thread    that of the event loop.
#pragma once

#include <memory>
#include <string>

#include "platform/centrum/Protocol.h"
#include "platform/centrum/Stream.h"
#include "platform/kiln/EventLoop.h"

namespace Centrum {

/// Whose connection it is. All calls come through the loop.
class LinkOwner {
 public:
  virtual ~LinkOwner();
  virtual void linkWaits(const std::string& problem) = 0;
  /// Connected: the server's Welcome came.
  virtual void linkIsUp(const Message::Welcome& welcome) = 0;
  /// A message. Raises ParseException when it makes no sense: the connection is closed.
  virtual void linkReceived(const Message::Any& message) = 0;
  virtual void linkIsDown(const std::string& reason) = 0;
  virtual void linkStalled(bool stalled) = 0;
  /// Keeps the owner alive while the link works on its behalf.
  virtual Forma::Ptr<Forma::PtrInterface const> linkKeeper() const = 0;
  /// What a Beat tells: the newest state that was applied.
  virtual Sequence linkSequence() const = 0;
};

class ClientLink {
 public:
  ClientLink(Kiln::EventLoop& loop, std::unique_ptr<Connector> connector, std::string name,
             LinkOwner& owner);
  ~ClientLink();
  ClientLink(const ClientLink&) = delete;
  ClientLink& operator=(const ClientLink&) = delete;

  /// Connects in the next turn, and from then on whenever needed.
  void start();
  /// Hands over what is to be sent as far as it is taken, and closes for good.
  void stop();

  bool up() const { return up_; }
  bool stalled() const { return stalled_; }
  std::string address() const { return connector_->address(); }
  /// Appends a frame to what is sent at the end of the turn; ignored while the link is not up.
  void send(const Message::Any& message);
  /// Sends.
  void flush();
  /// Bytes that the connection has not taken yet.
  std::size_t unsent() const { return out_.size() - outAt_; }

  std::uint64_t bytesReceived() const { return bytesReceived_; }
  std::uint64_t bytesSent() const { return bytesSent_; }
  std::uint64_t connects() const { return connects_; }

 private:
  void connect();
  void receive();
  bool takeMessages();
  void take(const Message::Any& message);
  void lose(const std::string& reason);
  void retry();
  void beat();

  Kiln::EventLoop& loop_;
  std::unique_ptr<Connector> connector_;
  std::string name_;
  LinkOwner& owner_;
  Kiln::Timer retryTimer_;
  Kiln::Timer beatTimer_;
  std::unique_ptr<Stream> stream_;
  FrameReader reader_;
  std::string out_;
  std::size_t outAt_ = 0;
  double pause_ = 0;  // before the next attempt
  double connectedAt_ = 0;
  double heardAt_ = 0;
  double beatAt_ = 0;
  bool up_ = false;
  bool stalled_ = false;
  bool stopped_ = false;
  bool waiting_ = false;  // said so
  std::uint64_t bytesReceived_ = 0;
  std::uint64_t bytesSent_ = 0;
  std::uint64_t connects_ = 0;
};

}  // namespace Centrum
