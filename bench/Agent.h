/// An agent of a benchmark: a loop, an entity manager connected to the server, and what both need.
///
/// Thread    one.
/// Errors    std::runtime_error when what is waited for does not happen.
#pragma once

#include <functional>
#include <memory>
#include <string>
#include <string_view>

#include "platform/centrum/ConnectedEntityManager.h"
#include "platform/forma/TypeRegistry.h"
#include "platform/kiln/EventLoop.h"

namespace Bench {

class Agent {
 public:
  /// `path` is that of the server's socket.
  Agent(const std::string& path, const char* name);
  explicit Agent(std::function<std::unique_ptr<Centrum::Connector>(Kiln::EventLoop&)> connector,
                 const char* name);
  ~Agent();
  Agent(const Agent&) = delete;
  Agent& operator=(const Agent&) = delete;

  /// Runs the loop until `condition` holds.
  void runUntil(const std::function<bool()>& condition, const char* what);
  /// Runs the loop until the entity is mounted.
  Forma::Ptr<Forma::Entity> mount(std::string_view path, std::string_view typeName,
                                  const char* mode);
  template <class T>
  Forma::Ptr<T> mount(std::string_view path, const char* mode) {
    return Forma::ptrCast<T>(mount(path, T::formaTypeName, mode));
  }
  /// Runs the loop until the server has all that was changed.
  void send();

  Kiln::EventLoop loop;
  Forma::TypeRegistry registry;
  Forma::Ptr<Centrum::ConnectedEntityManager> em;
};

}  // namespace Bench
