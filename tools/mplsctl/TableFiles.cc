#include "tools/mplsctl/TableFiles.h"

#include <fcntl.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cerrno>
#include <charconv>
#include <filesystem>
#include <set>
#include <string_view>
#include <system_error>

#include "agents/common/ExitCode.h"
#include "platform/kiln/Fd.h"
#include "platform/kiln/UnixSocket.h"
#include "platform/tarn/Format.h"
#include "platform/tarn/StorageErrors.h"

namespace MplsCtl {

namespace {

namespace Fs = std::filesystem;

constexpr std::string_view headSuffix = ".head";
constexpr int depthLimit = 8;

/// The first bytes of a file, `limit` at most; false, and errno says why, when it cannot be read.
bool readStart(const std::string& path, std::size_t limit, std::string& out) {
  const Kiln::Fd fd(::open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK | O_NOFOLLOW));
  if (!fd) return false;
  out.resize(limit);
  std::size_t size = 0;
  while (size < limit) {
    const ssize_t got =
        ::pread(fd.get(), out.data() + size, limit - size, static_cast<off_t>(size));
    if (got < 0 && errno == EINTR) continue;
    if (got < 0) return false;
    if (got == 0) break;
    size += static_cast<std::size_t>(got);
  }
  out.resize(size);
  return true;
}

/// Whether somebody takes connections at the doorbell; then `pid` is whose it is.
bool takesConnections(const std::string& path, int* pid) {
  const Kiln::Fd directory(::open(path.c_str(), O_PATH | O_DIRECTORY | O_CLOEXEC));
  const Kiln::Fd socket = Kiln::unixSocket();
  if (!directory || !socket) return false;
  const std::string address = Kiln::unixPath(directory.get(), path, "writer.sock");
  if (Kiln::connectUnix(socket, Kiln::unixAddress(address)) != 0) return false;
  ucred who{};
  socklen_t size = sizeof who;
  if (::getsockopt(socket.get(), SOL_SOCKET, SO_PEERCRED, &who, &size) == 0) *pid = who.pid;
  return true;
}

/// "PID AGENT SINCE" in writer.info.
TableWriterInfo writerOf(const std::string& path) {
  TableWriterInfo writer;
  std::string text;
  if (readStart(path + "/writer.info", 256, text)) {
    const std::string line = text.substr(0, text.find('\n'));
    const std::size_t first = line.find(' '), last = line.rfind(' ');
    std::from_chars(line.data(), line.data() + line.size(), writer.pid);
    if (first < last) writer.agent = line.substr(first + 1, last - first - 1);
  }
  int pid = 0;
  writer.isThere = takesConnections(path, &pid);
  if (pid != 0 && pid != writer.pid) writer = {true, pid, {}};
  return writer;
}

TableFile tableOf(const std::string& directory, const std::string& name,
                  const TableWriterInfo& writer) {
  TableFile table;
  table.directory = directory;
  table.name = name;
  table.writer = writer;
  const std::string path = directory + "/" + Tarn::headName(name);
  std::string bytes;
  table.isRead = readStart(path, Tarn::headBytes, bytes);
  if (table.isRead) table.head = tableHeadOf(bytes, name);
  table.problem = table.isRead ? table.head.problem : unreadableText(path, errno);
  return table;
}

void visitDirectory(const std::string& path, int depth,
                    const std::function<void(const TableFile&)>& visit) {
  std::set<std::string> tables, directories;
  std::error_code error;
  for (Fs::directory_iterator at(path, error), end; !error && at != end; at.increment(error)) {
    const std::string name = at->path().filename().string();
    std::error_code ignored;
    if (name.starts_with('.')) continue;
    if (at->symlink_status(ignored).type() == Fs::file_type::directory) directories.insert(name);
    else if (name.size() > headSuffix.size() && name.ends_with(headSuffix))
      tables.insert(name.substr(0, name.size() - headSuffix.size()));
  }
  if (error) visit({path, {}, unreadableText(path, error.value()), {}, false, {}});
  const TableWriterInfo writer = tables.empty() ? TableWriterInfo{} : writerOf(path);
  for (const std::string& name : tables) visit(tableOf(path, name, writer));
  if (depth == depthLimit) return;
  for (const std::string& name : directories) {
    if (name.starts_with("aside.")) continue;  // what was moved aside is in use by nobody
    std::string below = path;
    visitDirectory(below.append("/").append(name), depth + 1, visit);
  }
}

}  // namespace

std::string unreadableText(const std::string& path, int error) {
  return Tarn::failureText("cannot be read", path, Tarn::Right::read, error) + ": " +
         std::generic_category().message(error);
}

int exitCodeOf(const TableFile& table) {
  if (table.problem.empty()) return Agents::exitGood;
  const bool isDamaged = table.isRead && table.head.state == TableHead::State::damaged;
  return isDamaged ? Agents::exitFault : Agents::exitDatabase;
}

void eachTable(const std::string& path, const std::function<void(const TableFile&)>& visit) {
  visitDirectory(path, 0, visit);
}

bool hasDamagedHead(const std::string& path) {
  bool isDamaged = false;
  eachTable(path, [&](const TableFile& table) {
    isDamaged = isDamaged || (table.isRead && table.head.state == TableHead::State::damaged);
  });
  return isDamaged;
}

}  // namespace MplsCtl
