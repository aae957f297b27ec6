#include "platform/forma/Trace.h"

#include <cstdio>
#include <mutex>
#include <vector>

#include "platform/forma/Errors.h"

namespace Forma {

namespace {

struct Setting {
  std::string pattern;
  int level;
  bool matches(std::string_view source) const {
    if (!pattern.ends_with('*')) return source == pattern;
    return source.starts_with(std::string_view(pattern).substr(0, pattern.size() - 1));
  }
  /// A longer pattern counts more than a shorter one, and a whole name more than a beginning.
  std::size_t weight() const {
    return pattern.ends_with('*') ? 2 * pattern.size() - 2 : 2 * pattern.size() + 1;
  }
};

/// Every handle and setting of the process. A function's static: handles of any source file may
/// register before main.
struct Sources {
  std::mutex mutex;
  std::vector<TraceHandle*> handles;
  std::vector<Setting> settings;
  std::function<void(const TraceMessage&)> sink;

  static Sources& all() {
    static Sources* const sources = new Sources;  // outlives every handle
    return *sources;
  }
  void apply(TraceHandle& handle) const {
    const Setting* best = nullptr;
    for (const Setting& one : settings)
      if (one.matches(handle.source()) && (!best || one.weight() >= best->weight())) best = &one;
    handle.levelIs(best ? best->level : 0);
  }
};

constexpr int everyLevel = 9;

Setting parseSetting(std::string_view item) {
  const std::size_t slash = item.find('/');
  if (item.empty() || slash == 0)
    throwParseException("expected a trace source such as RouteConfigMergeSm/8");
  if (slash == std::string_view::npos) return {std::string(item), everyLevel};
  Setting setting{std::string(item.substr(0, slash)), 0};
  TextIn in(item.substr(slash + 1));
  parse(in, setting.level);
  if (!in.atEnd()) in.fail("a comma or the end");
  return setting;
}

void writeToStderr(const TraceMessage& m) {
  std::string line(m.source);
  line.push_back(':');
  print(line, m.line);
  line.append(" ").append(m.function).append(": ").append(m.text).append("\n");
  std::fwrite(line.data(), 1, line.size(), stderr);
}

}  // namespace

TraceHandle::TraceHandle(std::string_view source) : source_(source) {
  Sources& all = Sources::all();
  const std::lock_guard lock(all.mutex);
  all.handles.push_back(this);
  all.apply(*this);
}

TraceHandle::~TraceHandle() {
  Sources& all = Sources::all();
  const std::lock_guard lock(all.mutex);
  std::erase(all.handles, this);
}

void TraceHandle::write(int level, std::string_view file, int line, std::string_view function,
                        std::string_view text) const {
  std::function<void(const TraceMessage&)> sink;
  {
    const std::lock_guard lock(Sources::all().mutex);
    sink = Sources::all().sink;
  }
  const TraceMessage message{source_, level,    file.substr(file.rfind('/') + 1),
                             line,    function, text};
  if (sink) sink(message);
  else writeToStderr(message);
}

void traceLevelsIs(std::string_view setting) {
  std::vector<Setting> settings;
  for (bool more = !setting.empty(); more;) {
    const std::size_t comma = setting.find(',');
    settings.push_back(parseSetting(setting.substr(0, comma)));
    more = comma != std::string_view::npos;  // behind a comma an item must follow
    if (more) setting.remove_prefix(comma + 1);
  }
  Sources& all = Sources::all();
  const std::lock_guard lock(all.mutex);
  all.settings = std::move(settings);
  for (TraceHandle* handle : all.handles) all.apply(*handle);
}

void traceSinkIs(std::function<void(const TraceMessage&)> sink) {
  const std::lock_guard lock(Sources::all().mutex);
  Sources::all().sink = std::move(sink);
}

}  // namespace Forma
