/// The conditional debug trace: one handle per source file, a level per message.
///
///   static Forma::TraceHandle trace("RouteConfigMergeSm");
///   FORMA_TRACE(trace, 8, "handleConfigEntry", " for ", name, ", key ", key);
///
/// Level 1 is a state change, level 8 the entry into a handler. A message is built from its pieces
/// only when its level is enabled: text pieces stand as they are (names too), values in their text
/// form. Off, a message costs one load and a predictable branch.
///
/// Thread    messages from any; levels are set by one thread.
#pragma once

#include <atomic>
#include <functional>
#include <string>
#include <string_view>

#include "platform/Export.h"
#include "platform/forma/Text.h"

namespace Forma {

/// One message as a sink receives it. The views live as long as the call.
struct TraceMessage {
  std::string_view source;
  int level;
  std::string_view file;
  int line;
  std::string_view function;
  std::string_view text;
};

/// The trace of one source, known by name. Has static storage duration.
class MPLS_EXPORT TraceHandle {
 public:
  explicit TraceHandle(std::string_view source);
  TraceHandle(const TraceHandle&) = delete;
  TraceHandle& operator=(const TraceHandle&) = delete;
  ~TraceHandle();

  std::string_view source() const { return source_; }
  int level() const { return level_.load(std::memory_order_relaxed); }
  void levelIs(int level) { level_.store(level, std::memory_order_relaxed); }
  bool enabled(int level) const { return level <= level_.load(std::memory_order_relaxed); }

  void write(int level, std::string_view file, int line, std::string_view function,
             std::string_view text) const;

 private:
  std::string_view source_;
  std::atomic<int> level_{0};
};

/// Sets levels by "SOURCE/LEVEL" items separated by commas, such as "RouteConfigMergeSm/8,*/1";
/// "*" at the end of a name stands for any ending, a name alone for level 9. Of the items that
/// match a source the most specific counts. Sources that register later get theirs then. Raises
/// ParseException and changes nothing on a malformed text.
MPLS_EXPORT void traceLevelsIs(std::string_view setting);

/// Receives every message; an empty function restores the default, which writes one line to stderr:
/// "source:line function: text".
MPLS_EXPORT void traceSinkIs(std::function<void(const TraceMessage&)> sink);

/// Appends one piece of a message: strings raw, values in their text form.
template <class T>
void tracePiece(std::string& out, const T& piece) {
  if constexpr (std::is_convertible_v<const T&, std::string_view>)
    out.append(std::string_view(piece));
  else print(out, piece);
}

template <class... Pieces>
std::string traceText(const Pieces&... pieces) {
  std::string text;
  (tracePiece(text, pieces), ...);
  return text;
}

}  // namespace Forma

#define FORMA_TRACE(handle, level, ...)                                             \
  do {                                                                              \
    if ((handle).enabled(level)) [[unlikely]]                                       \
      (handle).write(level, __FILE__, __LINE__, static_cast<const char*>(__func__), \
                     ::Forma::traceText(__VA_ARGS__));                              \
  } while (false)
