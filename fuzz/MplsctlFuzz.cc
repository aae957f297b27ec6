/// Damages the files of an LFIB in any way, then lets mplsctl show, look up, verify and count it:
/// it ends with one of its exit codes, and says something when that is not 0.
///
/// Input     8 bytes for each damage: file, what is done, four bytes where, two bytes with what.
///           The last byte chooses the command, too, and whether it prints JSON.
/// Time      stands still: what would be looked at again after a pause is looked at at once.
#include <time.h>
#include <unistd.h>

#include <cstring>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <map>
#include <sstream>
#include <string>
#include <vector>

#include "agents/common/ExitCode.h"
#include "agents/common/JsonWriter.h"
#include "fuzz/Check.h"
#include "mpls/lfib/LfibStatus.h"
#include "platform/tarn/Format.h"
#include "platform/tarn/WriterDirectory.h"
#include "tools/mplsctl/Commands.h"

/// Checks pause before they look again, as writers may be at work; here nobody is.
extern "C" int nanosleep(const timespec* /*wanted*/, timespec* /*left*/) { return 0; }

namespace {

namespace Fs = std::filesystem;
using namespace Mpls;

constexpr std::size_t damageLimit = 100;
constexpr std::uint32_t routes = 40;

/// A folder that goes with the process.
struct Folder {
  Folder() { Fs::create_directories(lfib); }
  ~Folder() { Fs::remove_all(path); }
  const Fs::path path = Fs::path("/dev/shm") / ("mplsctl-fuzz-" + std::to_string(::getpid()));
  const Fs::path lfib = path / "lfib/static";
};

using Files = std::map<std::string, std::string>;

/// The files of an LFIB whose writer ended.
Files writtenLfib(const Fs::path& path) {
  {
    Kiln::EventLoop loop;
    Tarn::WriterDirectory directory(
        loop, {.path = path.string(), .owner = "", .group = "", .agent = "fuzz"},
        [](const std::string&) {});
    const auto lfib = lfibStatusFactory("lfib");
    FormaTarn::attachWriter(*lfib, directory);
    const auto source = LFib::lfibSourceStaticMpls_;
    for (std::uint32_t i = 0; i < routes; ++i) {
      const LfibViaKey via(source, viaTypeMplsIp_, i);
      const LfibViaSetKey viaSet(source, i, viaTypeMplsIp_);
      lfib->mplsViaIs({via, Netbase::IpAddr(i), Netbase::swap_, 100 + i, false});
      lfib->viaSetIs({viaSet, {via}});
      lfib->lfibRouteIs({RouteKey(16 + i, 0), viaSet, source});
    }
  }
  Files files;
  for (const auto& one : Fs::directory_iterator(path)) {
    if (!one.is_regular_file()) continue;
    std::ostringstream bytes;
    bytes << std::ifstream(one.path(), std::ios::binary).rdbuf();
    files[one.path().filename().string()] = bytes.str();
  }
  return files;
}

/// Random bytes would hardly get past the checksum of a head.
void mendHead(std::string& bytes) {
  Tarn::HeadFixed fixed;
  if (bytes.size() < sizeof fixed) return;
  std::memcpy(&fixed, bytes.data(), sizeof fixed);
  fixed.check = Tarn::checkFixed(fixed);
  std::memcpy(bytes.data(), &fixed, sizeof fixed);
}

struct Damage {
  std::uint8_t file;
  std::uint8_t what;
  std::uint32_t at;
  std::uint16_t with;
};

void damage(Files& files, const Damage& one) {
  auto of = std::next(files.begin(), one.file % static_cast<std::ptrdiff_t>(files.size()));
  std::string& bytes = of->second;
  const std::size_t at = bytes.empty() ? 0 : one.at % bytes.size();
  switch (one.what & 3) {
    case 0:
      bytes.resize(at);
      break;
    case 1:
      bytes.replace(at, 64, 64, static_cast<char>(one.with));
      break;
    default:
      if (bytes.size() >= at + 2) std::memcpy(bytes.data() + at, &one.with, 2);
  }
  if ((one.what & 4) != 0 && of->first.ends_with(".head")) mendHead(bytes);
}

/// `there` is what the last input left.
void put(const Fs::path& path, Files files, Files& there) {
  for (const auto& [name, bytes] : files)
    if (bytes != there[name]) std::ofstream(path / name, std::ios::binary) << bytes;
  there = std::move(files);
}

/// Runs a command; what it prints for programs must be JSON, whatever it met.
void run(const Folder& folder, const char* object, const char* verb, bool json) {
  MplsCtl::Options options;
  options.name = "mplsctl";
  options.run = folder.path.string();
  options.timeout = 0;
  options.json = json;
  options.object = object;
  options.verb = verb;
  options.label = 16;
  for (const MplsCtl::Entry& one : MplsCtl::entries()) {
    if (std::string_view(one.object) != object || std::string_view(one.verb) != verb) continue;
    if (one.types != nullptr) options.types = one.types();
    std::ostringstream out;
    std::streambuf* const before = std::cout.rdbuf(out.rdbuf());
    const int exitCode = one.command(options);
    std::cout.rdbuf(before);
    require(exitCode == Agents::exitGood || exitCode == Agents::exitProblem ||
            exitCode == Agents::exitDatabase || exitCode == Agents::exitFault);
    if (json && !out.str().empty()) require(Agents::Json::accept(out.str()));
    return;
  }
  require(false);  // there is no such command
}

}  // namespace

/// What is told of each damage would fill the log.
extern "C" int LLVMFuzzerInitialize(int* argc, char*** argv) {
  static char quiet[] = "-close_fd_mask=2";
  static std::vector<char*> all(*argv, *argv + *argc);
  all.insert(all.begin() + 1, quiet);
  all.push_back(nullptr);
  *argc += 1;
  *argv = all.data();
  return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  static const Folder folder;
  static const Files whole = writtenLfib(folder.lfib);
  static Files there = whole;
  const unsigned choice = size == 0 ? 0 : data[size - 1];
  Files files = whole;
  std::size_t damages = 0;
  for (; size >= 8 && damages < damageLimit; data += 8, size -= 8, ++damages) {
    Damage one{data[0], data[1], 0, 0};
    std::memcpy(&one.at, data + 2, sizeof one.at);
    std::memcpy(&one.with, data + 6, sizeof one.with);
    damage(files, one);
  }
  put(folder.lfib, std::move(files), there);
  constexpr std::pair<const char*, const char*> commands[] = {
      {"lfib", "show"}, {"lfib", "get"}, {"lfib", "verify"}, {"lfib", "stat"}, {"table", "show"}};
  const auto& [object, verb] = commands[(choice >> 1) % std::size(commands)];
  run(folder, object, verb, (choice & 1) != 0);
  return 0;
}
