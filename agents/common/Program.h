/// One program around one event loop and one connection to the database.
///
/// Thread    one.
/// Reload    SIGHUP lets an agent read its files again: see onReloadIs().
/// End       SIGINT and SIGTERM end it in order: what was changed is sent first. So does a mount
///           that the database refuses, and an exception that leaves a handler: an agent that is
///           deaf must not seem to work. What others may do wrong below a directory of theirs need
///           not: see survivesInputBelow().
#pragma once

#include <exception>
#include <functional>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "agents/common/ConnectionLog.h"
#include "agents/common/Log.h"
#include "agents/common/Options.h"
#include "platform/centrum/ConnectedEntityManager.h"
#include "platform/forma/TypeRegistry.h"
#include "platform/kiln/EventLoop.h"

namespace Agents {

/// One mount, as for Centrum::MountGroup::doMount.
struct Wish {
  std::string path;
  std::string_view typeName;
  std::string_view mode;
};

class Program {
 public:
  enum class Kind {
    follower,  ///< runs until a signal, and tells how connection and mounts stand
    query      ///< asks once; says nothing about the connection, and signals end it at once
  };

  /// Begins to connect in the loop.
  Program(const CommonOptions& options, Kind kind);
  /// Closes the connection, if run() has not.
  ~Program();
  Program(const Program&) = delete;
  Program& operator=(const Program&) = delete;

  Log& log() { return log_; }
  Kiln::EventLoop& loop() { return loop_; }
  const Forma::Ptr<Centrum::ConnectedEntityManager>& manager() const { return manager_; }
  /// The mounted entity at `path`; null when it is not there, or of another type.
  template <class T>
  Forma::Ptr<T> entity(std::string_view path) const {
    return Forma::ptrCast<T>(manager_->getEntity(Forma::String8(path)));
  }

  /// Mounts all of these together, and calls `then` when they are there.
  void mount(const std::vector<Wish>& wishes, std::function<void()> then);
  /// From now on a Forma::Exception that leaves a handler is told and counted, and a mount below
  /// `directory` that is refused is told; neither ends the program. For machines that stay right
  /// whatever others configure or put there.
  void survivesInputBelow(const std::string& directory);
  /// What SIGHUP does from now on; an agent ignores it before. It ends a tool.
  void onReloadIs(std::function<void()> reload) { reload_ = std::move(reload); }
  /// Lets run() return that code at the end of the turn; the first one counts.
  void end(int exitCode);

  /// Runs until `done` holds after a turn, or the end, or for so long; whether `done` holds and the
  /// program goes on. What left a handler is told, and is exitFault; that the standard output
  /// cannot be written is raised.
  bool await(const std::function<bool()>& done, double seconds);
  /// Runs until the end, or until `done` holds after a turn: that is exitGood. Then sends what is
  /// left to send and closes the connection.
  int run(const std::function<bool()>& done = {});
  bool ended() const { return ended_; }
  /// That of the end, so far.
  int exitCode() const { return exitCode_; }
  /// Why there is no connection, or what ended the last one.
  const std::string& connectionProblem() const { return connectionLog_.problem(); }

 private:
  /// Whether it ends the program.
  bool handleRefused(const std::string& path);
  void handleReload();
  void handleException(std::exception_ptr problem);
  void flush();
  void tellFailure();

  Log log_;
  Kiln::EventLoop loop_;
  Forma::TypeRegistry registry_;
  ConnectionLog connectionLog_;
  Forma::Ptr<Centrum::ConnectedEntityManager> manager_;
  std::function<void()> reload_;
  std::string survivedDirectory_;  // with a "/" at its end; empty: none
  std::exception_ptr failure_;
  int exitCode_ = 0;
  bool ended_ = false;
};

/// The frame of each main(): calls `body`; what it raises is told, and is exitUsage, as what the
/// options ask for is not possible then.
int guarded(const std::string& name, const std::function<int()>& body,
            Log::Form form = Log::Form::tool);

}  // namespace Agents
