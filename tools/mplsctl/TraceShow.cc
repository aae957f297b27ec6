/// `mplsctl trace show`: the ring trace of an agent that lives, or of one that died.
#include <fcntl.h>
#include <signal.h>
#include <unistd.h>

#include <cerrno>
#include <filesystem>
#include <iostream>
#include <vector>

#include "agents/common/ExitCode.h"
#include "agents/common/Paths.h"
#include "agents/common/Printable.h"
#include "platform/kiln/EventLoop.h"
#include "platform/ringtrace/RingFileReader.h"
#include "tools/mplsctl/Ages.h"
#include "tools/mplsctl/Commands.h"
#include "tools/mplsctl/Errors.h"
#include "tools/mplsctl/Output.h"
#include "tools/mplsctl/Query.h"
#include "tools/mplsctl/RecordJson.h"
#include "tools/mplsctl/TableFiles.h"

namespace MplsCtl {

namespace {

namespace Fs = std::filesystem;
using RingTrace::FileInfo;
using RingTrace::Message;

constexpr double lookEvery = 0.2;  // seconds

constexpr Column columns[] = {{"time", "TIME"},
                              {"seq", "SEQ", Kind::number},
                              {"thread", "THREAD", Kind::number},
                              {"text", "TEXT"}};
constexpr RecordType messageType{"message", columns, 2};
constexpr const RecordType* types[] = {&messageType};

void fill(Record& record, const FileInfo& info, const Message& message) {
  record.clear();
  record.text(utcText(info.startWallNs + (message.timeNs - info.startMonotonicNs)));
  record.number(message.sequence).number(message.thread).text(message.text);
}

/// The file of one ring, which another process may take the place of.
class Trace {
 public:
  explicit Trace(std::string path) : path_(std::move(path)) {}

  /// What came since the last call; raises RingTrace::FileError.
  std::vector<Message> take() {
    const FileInfo info = RingTrace::readFileInfo(path_);
    const bool isOther =
        info.processId != info_.processId || info.startMonotonicNs != info_.startMonotonicNs;
    info_ = info;
    if (isOther) next_ = 0;
    std::vector<Message> messages = RingTrace::readFile(path_);
    std::erase_if(messages, [this](const Message& one) { return one.sequence < next_; });
    if (!messages.empty()) next_ = messages.back().sequence + 1;
    return messages;
  }
  const FileInfo& info() const { return info_; }
  /// Whether the process that recorded lives; of another of that number nobody knows.
  bool isAlive() const {
    const auto pid = static_cast<pid_t>(info_.processId);
    return pid > 0 && (::kill(pid, 0) == 0 || errno == EPERM);
  }

 private:
  const std::string path_;
  FileInfo info_;
  std::uint64_t next_ = 0;  // the sequence of the next message
};

void keepLast(std::vector<Message>& messages, std::size_t last) {
  if (last != 0 && messages.size() > last)
    messages.erase(messages.begin(), messages.end() - static_cast<std::ptrdiff_t>(last));
}

void show(Trace& trace, const std::string& path, const Options& options) {
  std::vector<Message> messages = trace.take();
  keepLast(messages, options.last);
  Output out(options, messages.size());
  const auto pid = trace.info().processId;
  out.fact("file", path);
  out.fact("pid", pid);
  out.fact("alive", trace.isAlive());
  out.line(path + ": process " + std::to_string(pid) + (trace.isAlive() ? "" : ", which is gone"));
  Record record(messageType);
  for (const Message& one : messages) {
    fill(record, trace.info(), one);
    if (!out.add(record)) break;
  }
  out.end();
}

/// A line for each message, also with --json.
void printLines(const Trace& trace, const std::vector<Message>& messages, const Options& options) {
  Record record(messageType);
  std::string line;
  for (const Message& one : messages) {
    fill(record, trace.info(), one);
    if (!isWanted(record.view(), options.filters)) continue;
    line.clear();
    if (options.json) appendJson(line, record.view(), "");
    else
      line = utcText(trace.info().startWallNs + (one.timeNs - trace.info().startMonotonicNs)) +
             "  " + std::to_string(one.thread) + "  " + Agents::printable(one.text);
    std::cout << line << '\n';
  }
  std::cout.flush();
}

/// Until a signal. That an agent ends, and another one begins, ends nothing.
int followTrace(Trace& trace, const Options& options) {
  std::vector<Message> messages = trace.take();
  if (options.noInitial) messages.clear();
  keepLast(messages, options.last);
  printLines(trace, messages, options);
  Kiln::EventLoop loop;
  return repeat(loop, lookEvery, [&] {
    try {
      printLines(trace, trace.take(), options);
    } catch (const RingTrace::FileError&) {  // one agent went, the next is not there yet
    }
    return true;
  });
}

/// Tells why there is nothing to show; returns the exit code.
int tellBadFile(const Options& options, const std::string& path,
                const RingTrace::FileError& problem) {
  const int error = ::faccessat(AT_FDCWD, path.c_str(), R_OK, AT_EACCESS) == 0 ? 0 : errno;
  std::string text = error == 0 ? problem.reason() : unreadableText(path, error);
  if (error == ENOENT && !options.agent.empty())
    text += "; an agent keeps its ring trace in " + Agents::ringParent(options.run) +
            " when that directory is there, or where its --ring-file says";
  const bool isDamaged = error == 0 && Fs::is_regular_file(path);
  tellError(options, isDamaged ? ErrorCode::corrupt : ErrorCode::cannotOpen, text, path);
  return isDamaged ? Agents::exitFault : Agents::exitDatabase;
}

}  // namespace

int traceShow(const Options& options) {
  const std::string path =
      options.agent.empty() ? options.file : Agents::ringFile(options.run, options.agent);
  if (path.empty()) {
    tellError(options, ErrorCode::usage, "expected a FILE, or --agent NAME");
    return Agents::exitUsage;
  }
  Trace trace(path);
  try {
    if (options.follow) return followTrace(trace, options);
    show(trace, path, options);
    return Agents::exitGood;
  } catch (const RingTrace::FileError& problem) {
    return tellBadFile(options, path, problem);
  }
}

RecordTypes traceTypes() { return types; }

}  // namespace MplsCtl
